#pragma once

#include <chrono>
#include <optional>

#include <signal.h>

namespace corvane::cli {

// The signals that end a run: Ctrl-C, a terminating kill and a closed terminal. They are
// blocked in every thread and read from a signalfd by the one thread that waits, so no work
// ever runs inside a signal handler. Create it before any thread starts, so that every
// later thread inherits the block; children should start with `childSignalMask`.
class StopSignals {
public:
    enum class Outcome { signalled, timedOut, cancelled };

    StopSignals();
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    // Blocks until a stop signal arrives, `limit` passes, or another thread calls `cancel`.
    Outcome wait(std::optional<std::chrono::milliseconds> limit);
    void cancel() const;

    // The mask a child program must start with: nothing blocked, as a shell would give it.
    static sigset_t childSignalMask();

private:
    void closeDescriptors();

    int signalDescriptor_ = -1;
    int cancelDescriptor_ = -1;
};

} // namespace corvane::cli
