#include "core/control/control_socket_path.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include "core/control/control_error.hpp"
#include "core/control/control_texts.hpp"

namespace corvane::ControlSocketPath {
namespace {

std::filesystem::path baseFolder() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && *runtime == '/' && ::access(runtime, W_OK | X_OK) == 0) {
        return std::filesystem::path(runtime) / "corvane";
    }
    return std::filesystem::path("/tmp") / ("corvane-" + std::to_string(::geteuid()));
}

} // namespace

std::filesystem::path privateDirectory() {
    auto folder = baseFolder();
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        throw ControlError(control_texts::socketFailed("create the folder for", folder.string(),
                                                       std::strerror(errno)));
    }
    // /tmp is shared: whatever is found at the name must be our own private folder.
    struct stat facts {};
    if (::lstat(folder.c_str(), &facts) != 0 || !S_ISDIR(facts.st_mode) ||
        facts.st_uid != ::geteuid() || (facts.st_mode & 0077) != 0) {
        throw ControlError(control_texts::directoryUnsafe(folder.string()));
    }
    return folder;
}

std::filesystem::path forThisProcess() {
    return privateDirectory() / ("serve-" + std::to_string(::getpid()) + ".sock");
}

} // namespace corvane::ControlSocketPath
