#include "cli/entered_namespace.hpp"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

namespace corvane::cli {

EnteredNamespace::EnteredNamespace(const std::string& name) {
    home_ = ::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
    if (home_ < 0) {
        throw std::system_error(errno, std::generic_category(), "open /proc/thread-self/ns/net");
    }
    const std::string path = "/run/netns/" + name;
    const int target = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (target < 0 || ::setns(target, CLONE_NEWNET) != 0) {
        const int error = errno;
        if (target >= 0) {
            ::close(target);
        }
        ::close(home_);
        throw std::system_error(error, std::generic_category(), "setns " + path);
    }
    ::close(target);
}

EnteredNamespace::~EnteredNamespace() {
    // Going home cannot fail for a thread that left it with the same privileges.
    ::setns(home_, CLONE_NEWNET);
    ::close(home_);
}

} // namespace corvane::cli
