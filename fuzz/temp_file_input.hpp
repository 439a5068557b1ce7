#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

namespace corvane::fuzzing {

// One fuzz input written to a file in a private folder, removed with the folder when the input
// is done. libFuzzer may end without running exit handlers, so nothing may outlive the input
// that made it.
class TempFileInput {
public:
    TempFileInput(const char* folderPrefix, const char* fileName, const std::uint8_t* data,
                  std::size_t size)
        : bytes_(reinterpret_cast<const char*>(data), size) {
        std::string pattern =
            (std::filesystem::temp_directory_path() / (std::string(folderPrefix) + "-XXXXXX"))
                .string();
        if (mkdtemp(pattern.data()) == nullptr) {
            std::fprintf(stderr, "%s: could not create a scratch folder\n", folderPrefix);
            std::abort();
        }
        folder_ = pattern;
        path_ = folder_ / fileName;
        std::ofstream(path_, std::ios::binary) << bytes_;
    }
    TempFileInput(const TempFileInput&) = delete;
    TempFileInput& operator=(const TempFileInput&) = delete;
    ~TempFileInput() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    // The file that holds the input.
    const std::filesystem::path& path() const { return path_; }
    // The input itself, as the file first held it.
    const std::string& bytes() const { return bytes_; }

private:
    std::string bytes_;
    std::filesystem::path folder_;
    std::filesystem::path path_;
};

inline std::string readBytes(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

} // namespace corvane::fuzzing
