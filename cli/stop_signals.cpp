#include "cli/stop_signals.hpp"

#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace corvane::cli {
namespace {

sigset_t stopSignalSet() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGHUP);
    return set;
}

} // namespace

StopSignals::StopSignals() {
    // A reader that went away must not kill the server before it saved its leases: writes to
    // a closed pipe then just fail.
    ::signal(SIGPIPE, SIG_IGN);
    const sigset_t set = stopSignalSet();
    if (const int error = pthread_sigmask(SIG_BLOCK, &set, nullptr); error != 0) {
        throw std::system_error(error, std::generic_category(), "pthread_sigmask");
    }
    signalDescriptor_ = ::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    cancelDescriptor_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (signalDescriptor_ < 0 || cancelDescriptor_ < 0) {
        const int error = errno;
        closeDescriptors();
        throw std::system_error(error, std::generic_category(), "signalfd");
    }
}

// The signals stay blocked: one arriving while the program winds down is simply not acted
// upon, instead of ending it before the leases are saved.
StopSignals::~StopSignals() {
    closeDescriptors();
}

void StopSignals::closeDescriptors() {
    for (int* descriptor : {&signalDescriptor_, &cancelDescriptor_}) {
        if (*descriptor >= 0) {
            ::close(*descriptor);
            *descriptor = -1;
        }
    }
}

StopSignals::Outcome StopSignals::wait(std::optional<std::chrono::milliseconds> limit) {
    using Clock = std::chrono::steady_clock;
    const auto deadline = limit ? std::optional(Clock::now() + *limit) : std::nullopt;
    while (true) {
        int timeout = -1;
        if (deadline) {
            const auto left =
                std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now());
            if (left.count() <= 0) {
                return Outcome::timedOut;
            }
            timeout = static_cast<int>(left.count());
        }
        std::array<pollfd, 2> descriptors{
            {{signalDescriptor_, POLLIN, 0}, {cancelDescriptor_, POLLIN, 0}}};
        const int ready = ::poll(descriptors.data(), descriptors.size(), timeout);
        if (ready < 0 && errno != EINTR) {
            return Outcome::cancelled;
        }
        if (descriptors[1].revents != 0) {
            return Outcome::cancelled;
        }
        if (descriptors[0].revents != 0) {
            signalfd_siginfo information{};
            if (::read(signalDescriptor_, &information, sizeof information) ==
                static_cast<ssize_t>(sizeof information)) {
                return Outcome::signalled;
            }
        }
    }
}

void StopSignals::cancel() const {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(cancelDescriptor_, &one, sizeof one);
}

sigset_t StopSignals::childSignalMask() {
    sigset_t set;
    sigemptyset(&set);
    return set;
}

} // namespace corvane::cli
