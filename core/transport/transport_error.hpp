#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace corvane {

// A failed socket call: which step failed and the errno it gave.
class TransportError : public std::runtime_error {
public:
    TransportError(std::string operation, int code);

    const std::string& operation() const { return operation_; }
    int code() const { return code_; }
    // "{operation} failed: {strerror} (errno {code})".
    std::string description() const { return what(); }

    friend bool operator==(const TransportError& left, const TransportError& right) {
        return left.operation_ == right.operation_ && left.code_ == right.code_;
    }

private:
    std::string operation_;
    int code_;
};

} // namespace corvane
