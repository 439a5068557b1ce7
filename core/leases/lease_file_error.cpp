#include "core/leases/lease_file_error.hpp"

#include <cerrno>
#include <cstring>

namespace corvane {

namespace {

std::string systemText(int errorNumber) {
    return std::strerror(errorNumber);
}

} // namespace

LeaseFileError LeaseFileError::couldNotRead(const std::filesystem::path& file, int errorNumber) {
    return LeaseFileError("Could not read the lease file " + file.string() + ": " +
                              systemText(errorNumber) +
                              ". Check that it is a readable file, or move it away to start "
                              "with no leases.",
                          errorNumber);
}

LeaseFileError LeaseFileError::couldNotSetAside(const std::filesystem::path& file,
                                                const std::filesystem::path& destination,
                                                int errorNumber) {
    return LeaseFileError("The lease file " + file.string() +
                              " could not be understood and could not be moved to " +
                              destination.string() + ": " + systemText(errorNumber) +
                              ". Move or remove it yourself, then try again.",
                          errorNumber);
}

LeaseFileError LeaseFileError::notALeaseFile(const std::filesystem::path& file) {
    return LeaseFileError("The lease file " + file.string() +
                              " is not a lease file Corvane can read, and was left as it is. "
                              "Start the server once to set it aside, or move it away yourself.",
                          EINVAL);
}

LeaseFileError LeaseFileError::couldNotCreateFolder(const std::filesystem::path& folder,
                                                    std::error_code error) {
    return LeaseFileError("Could not create the folder " + folder.string() +
                              " for the lease file: " + error.message() +
                              ". Check that you may write there, or choose another lease file.",
                          error.value());
}

LeaseFileError LeaseFileError::couldNotWrite(const std::filesystem::path& file, int errorNumber) {
    return LeaseFileError("Could not save the lease file " + file.string() + ": " +
                              systemText(errorNumber) +
                              ". Check that its folder is writable and the disk is not full.",
                          errorNumber);
}

LeaseFileError LeaseFileError::couldNotReplace(const std::filesystem::path& file, int errorNumber) {
    return LeaseFileError("Could not replace " + file.filename().string() + ": " +
                              systemText(errorNumber),
                          errorNumber);
}

} // namespace corvane
