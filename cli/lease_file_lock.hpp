#pragma once

#include <filesystem>

namespace corvane::cli {

// Marks a lease file as in use, so that a second server and the lease edits leave a file
// alone while a server writes it. It is an flock on a hidden file beside the lease file
// (the lease file itself is replaced on every save, so it cannot carry the lock); the kernel
// drops the lock when the process ends, however it ends.
class LeaseFileLock {
public:
    enum class State {
        held,
        // Another process holds it: a server is running on this file.
        inUseElsewhere,
        // No lock file can be made here (missing or read-only folder); nothing to guard.
        unavailable,
    };

    // Tries once, without waiting.
    explicit LeaseFileLock(const std::filesystem::path& leaseFile);
    ~LeaseFileLock();
    LeaseFileLock(const LeaseFileLock&) = delete;
    LeaseFileLock& operator=(const LeaseFileLock&) = delete;

    State state() const { return state_; }

    // ".leases.json.lock" beside "leases.json".
    static std::filesystem::path lockPath(const std::filesystem::path& leaseFile);

private:
    int descriptor_ = -1;
    State state_ = State::unavailable;
};

} // namespace corvane::cli
