#pragma once

#include <stdexcept>
#include <string>

namespace corvane {

// Why a host setup command did not run or did not succeed; the message is meant for the
// user. A dismissed administrator prompt is a cancellation, not a failure, so that the
// application can stay quiet about it.
class HostSetupError : public std::runtime_error {
public:
    explicit HostSetupError(const std::string& message, bool isCancellation = false)
        : std::runtime_error(message), isCancellation_(isCancellation) {}

    std::string message() const { return what(); }
    bool isCancellation() const { return isCancellation_; }

    friend bool operator==(const HostSetupError& one, const HostSetupError& other) {
        return one.message() == other.message() && one.isCancellation_ == other.isCancellation_;
    }

private:
    bool isCancellation_;
};

} // namespace corvane
