#pragma once

#include <filesystem>
#include <fstream>
#include <ostream>
#include <string>

#include <sys/stat.h>

#include "core/host/process_runner.hpp"
#include "tests/support/temporary_folder.hpp"

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
    // Open to every user, as the scripts may run under another user's name.
    FakePrograms() {
        std::filesystem::permissions(folder_.path(), std::filesystem::perms(0755));
        std::filesystem::create_directories(folder_ / "bin");
    }

    // Installs `bin/<name>` running `body` under /bin/sh.
    void add(const std::string& name, const std::string& body) {
        const auto path = folder_ / "bin" / name;
        std::ofstream(path) << "#!/bin/sh\n" << body << "\n";
        chmod(path.c_str(), 0755);
    }

    ProcessRunner runner(std::chrono::milliseconds limit = ProcessRunner::defaultTimeLimit) const {
        return ProcessRunner((folder_ / "bin").string() + ":/usr/bin:/bin", limit);
    }

    const std::filesystem::path& folder() const { return folder_.path(); }
    std::string read(const std::string& file) const { return readFile(folder_ / file); }

private:
    TemporaryFolder folder_;
};

} // namespace corvane::testing
