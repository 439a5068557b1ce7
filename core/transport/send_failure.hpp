#pragma once

#include <string>
#include <utility>

namespace corvane {

// What a failed send means for the user, from the most generic to the most specific cause.
class SendFailure {
public:
    enum class Kind { other, linkDown, addressMissing, possiblyDenied };

    // Not recognised; `text` is the TransportError's own sentence.
    static SendFailure other(std::string text) { return SendFailure(Kind::other, std::move(text)); }
    // The card has no link.
    static SendFailure linkDown() { return SendFailure(Kind::linkDown, {}); }
    // The card has link but does not carry the server's address.
    static SendFailure addressMissing() { return SendFailure(Kind::addressMissing, {}); }
    // Link and address are fine, yet the system refused the datagram.
    static SendFailure possiblyDenied() { return SendFailure(Kind::possiblyDenied, {}); }

    Kind kind() const { return kind_; }
    // The error text of an `other` failure; empty for every other kind.
    const std::string& text() const { return text_; }

    friend bool operator==(const SendFailure&, const SendFailure&) = default;

private:
    SendFailure(Kind kind, std::string text) : kind_(kind), text_(std::move(text)) {}

    Kind kind_;
    std::string text_;
};

} // namespace corvane
