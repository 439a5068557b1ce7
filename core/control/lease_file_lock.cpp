#include "core/control/lease_file_lock.hpp"

#include <array>
#include <cerrno>
#include <string>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace corvane {
namespace {

// A symbolic link planted at the lock's name must not make us create or truncate the file
// it points to, so the name is never followed.
constexpr int lockOpenFlags = O_NOFOLLOW | O_CLOEXEC;

} // namespace

LeaseFileLock::LeaseFileLock(const std::filesystem::path& leaseFile) {
    descriptor_ = ::open(lockPath(leaseFile).c_str(), O_RDWR | O_CREAT | lockOpenFlags, 0644);
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
        announceControlSocket({});
        ::close(descriptor_);
    }
}

void LeaseFileLock::announceControlSocket(const std::filesystem::path& socket) {
    if (state_ != State::held) {
        return;
    }
    const auto text = socket.empty() ? std::string() : socket.string() + "\n";
    if (::ftruncate(descriptor_, 0) != 0) {
        return;
    }
    [[maybe_unused]] const auto written = ::pwrite(descriptor_, text.data(), text.size(), 0);
}

std::filesystem::path LeaseFileLock::lockPath(const std::filesystem::path& leaseFile) {
    return leaseFile.parent_path() / ("." + leaseFile.filename().string() + ".lock");
}

std::optional<std::filesystem::path>
LeaseFileLock::announcedControlSocket(const std::filesystem::path& leaseFile) {
    const int descriptor = ::open(lockPath(leaseFile).c_str(), O_RDONLY | lockOpenFlags);
    if (descriptor < 0) {
        return std::nullopt;
    }
    std::array<char, 4096> buffer{};
    const auto count = ::read(descriptor, buffer.data(), buffer.size());
    ::close(descriptor);
    if (count <= 0) {
        return std::nullopt;
    }
    std::string text(buffer.data(), static_cast<std::size_t>(count));
    const auto end = text.find('\n');
    if (end == std::string::npos || end == 0) {
        return std::nullopt;
    }
    return std::filesystem::path(text.substr(0, end));
}

} // namespace corvane
