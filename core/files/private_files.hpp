#pragma once

#include <filesystem>
#include <system_error>

// Files that only their user may read: device MACs and host names are nobody else's
// business, and a link planted where a file is expected must never redirect a write.
namespace corvane::private_files {

// Creates `folder` and any missing parents, each new one readable by its owner alone.
// Folders that already exist keep their permissions.
std::error_code createFolders(const std::filesystem::path& folder);

// Opens `file` for appending, creating it readable and writable by its owner alone, and
// narrows a file left readable by others. Never follows a symbolic link, dangling or not
// (ELOOP), and refuses anything but a plain file (EINVAL). Gives the descriptor, or -1 with
// `error` set.
int openForAppend(const std::filesystem::path& file, std::error_code& error);

} // namespace corvane::private_files
