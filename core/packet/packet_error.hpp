#pragma once

#include <cstdint>
#include <string>
#include <variant>

namespace corvane {

// Why a datagram is not a DHCP message. It carries no partial packet: the caller reports
// `description()` and drops the datagram.
class PacketError {
public:
    struct TooShort {
        std::int64_t length = 0;
        friend bool operator==(const TooShort&, const TooShort&) = default;
    };
    struct OptionOverrun {
        std::uint8_t code = 0;
        friend bool operator==(const OptionOverrun&, const OptionOverrun&) = default;
    };
    struct BadMagicCookie {
        friend bool operator==(const BadMagicCookie&, const BadMagicCookie&) = default;
    };
    using Reason = std::variant<TooShort, OptionOverrun, BadMagicCookie>;

    static PacketError tooShort(std::int64_t length) { return PacketError(TooShort{length}); }
    static PacketError optionOverrun(std::uint8_t code) { return PacketError(OptionOverrun{code}); }
    static PacketError badMagicCookie() { return PacketError(BadMagicCookie{}); }

    const Reason& reason() const { return reason_; }
    // The text shown in the log, e.g. "too short (239 bytes)".
    std::string description() const;

    friend bool operator==(const PacketError&, const PacketError&) = default;

private:
    explicit PacketError(Reason reason) : reason_(reason) {}

    Reason reason_;
};

} // namespace corvane
