#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace corvane {

// A lease file that could not be read, moved aside or saved. what() is the text for the
// user; every text the lease file shows is made here.
class LeaseFileError : public std::runtime_error {
public:
    static LeaseFileError couldNotRead(const std::filesystem::path& file, int errorNumber);
    static LeaseFileError couldNotSetAside(const std::filesystem::path& file,
                                           const std::filesystem::path& destination,
                                           int errorNumber);
    // Reported by commands that only look, which leave such a file where it is.
    static LeaseFileError notALeaseFile(const std::filesystem::path& file);
    static LeaseFileError couldNotCreateFolder(const std::filesystem::path& folder,
                                               std::error_code error);
    static LeaseFileError couldNotWrite(const std::filesystem::path& file, int errorNumber);
    // The rename over the old file failed; names the file by its last component only.
    static LeaseFileError couldNotReplace(const std::filesystem::path& file, int errorNumber);

    // The system's error number behind the failure.
    int errorNumber() const { return errorNumber_; }

private:
    LeaseFileError(const std::string& text, int errorNumber)
        : std::runtime_error(text), errorNumber_(errorNumber) {}

    int errorNumber_;
};

} // namespace corvane
