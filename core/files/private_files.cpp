#include "core/files/private_files.hpp"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvane::private_files {

namespace {

constexpr mode_t ownerOnlyFolder = 0700;
constexpr mode_t ownerOnlyFile = 0600;
constexpr mode_t groupAndOthers = 0077;

std::error_code lastError() {
    return {errno, std::generic_category()};
}

} // namespace

std::error_code createFolders(const std::filesystem::path& folder) {
    if (folder.empty()) {
        return {};
    }
    struct stat status {};
    if (::stat(folder.c_str(), &status) == 0) {
        return S_ISDIR(status.st_mode) ? std::error_code{}
                                       : std::make_error_code(std::errc::not_a_directory);
    }
    if (errno != ENOENT) {
        return lastError();
    }
    if (folder.has_relative_path() && folder.parent_path() != folder) {
        if (auto error = createFolders(folder.parent_path())) {
            return error;
        }
    }
    if (::mkdir(folder.c_str(), ownerOnlyFolder) != 0 && errno != EEXIST) {
        return lastError();
    }
    return {};
}

int openForAppend(const std::filesystem::path& file, std::error_code& error) {
    // O_NONBLOCK: a FIFO put in the file's place must not stall the writer until someone
    // reads it; it is refused below like any other file that is not a plain one.
    const int descriptor =
        ::open(file.c_str(),
               O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK,
               ownerOnlyFile);
    if (descriptor < 0) {
        error = lastError();
        return -1;
    }
    struct stat status {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        error = std::make_error_code(std::errc::invalid_argument);
        ::close(descriptor);
        return -1;
    }
    if ((status.st_mode & groupAndOthers) != 0 && status.st_uid == ::geteuid()) {
        ::fchmod(descriptor, ownerOnlyFile);
    }
    error.clear();
    return descriptor;
}

} // namespace corvane::private_files
