#pragma once

#include <filesystem>
#include <string>
#include <string_view>

// What the daily log files tell the user when they cannot be written.
namespace corvane::log_texts {

inline std::string fileIsLink(const std::filesystem::path& file) {
    return "The log file " + file.string() +
           " is a symbolic link, so no log lines are written to it. Remove the link to keep "
           "daily logs.";
}
inline std::string fileNotWritten(const std::filesystem::path& file, std::string_view reason) {
    return "Could not write the log file " + file.string() + ": " + std::string(reason) +
           ". Check that it is a plain file you may write.";
}
inline std::string folderNotCreated(const std::filesystem::path& folder, std::string_view reason) {
    return "Could not create the log folder " + folder.string() + ": " + std::string(reason) +
           ". Check that you may write there.";
}

} // namespace corvane::log_texts
