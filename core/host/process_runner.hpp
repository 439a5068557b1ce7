#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

// Runs one external program without a shell and collects what it writes to standard output
// and standard error through one pipe, interleaved as written. It never throws: a program
// that cannot start reads as status -1 with the reason as text. Every run is bounded by the
// runner's time limit; a child still running then is killed.
class ProcessRunner {
public:
    struct Output {
        int status = -1;
        std::string text;
        friend bool operator==(const Output&, const Output&) = default;
    };

    static constexpr std::chrono::milliseconds defaultTimeLimit{10'000};
    // Where programs are looked for when the environment has no PATH.
    static constexpr const char* standardSearchPath =
        "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";

    // Looks programs up on this process's PATH.
    ProcessRunner();
    // Looks programs up on `searchPath`, which the child also receives as its PATH.
    explicit ProcessRunner(std::string searchPath,
                           std::chrono::milliseconds timeLimit = defaultTimeLimit);

    ProcessRunner withTimeLimit(std::chrono::milliseconds timeLimit) const;
    const std::string& searchPath() const { return searchPath_; }
    std::chrono::milliseconds timeLimit() const { return timeLimit_; }

    // `program` is used as given when it holds a slash, else looked up on the search path.
    Output run(const std::string& program, const std::vector<std::string>& arguments) const;
    // The full path `run` would start for `program`, if there is one.
    std::optional<std::string> locate(const std::string& program) const;

private:
    std::string searchPath_;
    std::chrono::milliseconds timeLimit_;
};

// Child output decoded as UTF-8, every invalid byte replaced by U+FFFD.
std::string validUTF8(const std::string& bytes);

} // namespace corvane
