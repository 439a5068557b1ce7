#pragma once

#include <filesystem>
#include <optional>

namespace corvane {

// Marks a lease file as in use, so that a second server and the lease edits leave a file
// alone while a server writes it. It is an flock on a hidden file beside the lease file
// (the lease file itself is replaced on every save, so it cannot carry the lock); the kernel
// drops the lock when the process ends, however it ends. The holder writes the path of its
// control socket into the lock file, which is how other commands find a running server.
class LeaseFileLock {
public:
    enum class State {
        held,
        // Another process holds it: a server is running on this file.
        inUseElsewhere,
        // No lock file can be made here (missing or read-only folder, or the lock file's
        // name is a symbolic link); nothing to guard.
        unavailable,
    };

    // Tries once, without waiting.
    explicit LeaseFileLock(const std::filesystem::path& leaseFile);
    ~LeaseFileLock();
    LeaseFileLock(const LeaseFileLock&) = delete;
    LeaseFileLock& operator=(const LeaseFileLock&) = delete;

    State state() const { return state_; }

    // Tells other commands where this holder answers; an empty path withdraws it. Only a
    // held lock announces anything; failures only cost the announcement.
    void announceControlSocket(const std::filesystem::path& socket);

    // ".leases.json.lock" beside "leases.json".
    static std::filesystem::path lockPath(const std::filesystem::path& leaseFile);
    // The control socket announced by whoever holds the lease file's lock, if any.
    static std::optional<std::filesystem::path>
    announcedControlSocket(const std::filesystem::path& leaseFile);

private:
    int descriptor_ = -1;
    State state_ = State::unavailable;
};

} // namespace corvane
