#include "cli/lease_file_lock.hpp"

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace corvane::cli {

LeaseFileLock::LeaseFileLock(const std::filesystem::path& leaseFile) {
    descriptor_ = ::open(lockPath(leaseFile).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (descriptor_ < 0) {
        return;
    }
    if (::flock(descriptor_, LOCK_EX | LOCK_NB) == 0) {
        state_ = State::held;
        return;
    }
    state_ = errno == EWOULDBLOCK ? State::inUseElsewhere : State::unavailable;
    ::close(descriptor_);
    descriptor_ = -1;
}

LeaseFileLock::~LeaseFileLock() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

std::filesystem::path LeaseFileLock::lockPath(const std::filesystem::path& leaseFile) {
    return leaseFile.parent_path() / ("." + leaseFile.filename().string() + ".lock");
}

} // namespace corvane::cli
