#pragma once

#include <filesystem>
#include <fstream>
#include <ostream>
#include <random>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include "core/host/process_runner.hpp"

namespace corvane {

// Readable failure messages for runner outputs.
inline void PrintTo(const ProcessRunner::Output& output, std::ostream* stream) {
    *stream << "status " << output.status << ", text:\n" << output.text;
}

} // namespace corvane

namespace corvane::testing {

// A temporary folder of shell scripts that stand in for host programs. A runner built by
// `runner()` finds them before the real ones; the test process's own environment is never
// touched. The folder is removed with the object.
class FakePrograms {
public:
    FakePrograms()
        : folder_(std::filesystem::temp_directory_path() /
                  ("corvane-host-" + std::to_string(getpid()) + "-" +
                   std::to_string(std::random_device{}()))) {
        std::filesystem::create_directories(folder_ / "bin");
    }
    ~FakePrograms() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    FakePrograms(const FakePrograms&) = delete;
    FakePrograms& operator=(const FakePrograms&) = delete;

    // Installs `bin/<name>` running `body` under /bin/sh.
    void add(const std::string& name, const std::string& body) {
        const auto path = folder_ / "bin" / name;
        std::ofstream(path) << "#!/bin/sh\n" << body << "\n";
        chmod(path.c_str(), 0755);
    }

    ProcessRunner runner(std::chrono::milliseconds limit = ProcessRunner::defaultTimeLimit) const {
        return ProcessRunner((folder_ / "bin").string() + ":/usr/bin:/bin", limit);
    }

    const std::filesystem::path& folder() const { return folder_; }

    std::string read(const std::string& file) const {
        std::ifstream stream(folder_ / file);
        return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    }

private:
    std::filesystem::path folder_;
};

} // namespace corvane::testing
