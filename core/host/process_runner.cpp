#include "core/host/process_runner.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "core/host/host_texts.hpp"

extern char** environ;

namespace corvane {
namespace {

using Clock = std::chrono::steady_clock;

// Closes a descriptor on every path out of a scope.
class OwnedDescriptor {
public:
    explicit OwnedDescriptor(int descriptor = -1) : descriptor_(descriptor) {}
    ~OwnedDescriptor() { reset(); }
    OwnedDescriptor(const OwnedDescriptor&) = delete;
    OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;

    int get() const { return descriptor_; }
    void reset(int descriptor = -1) {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
        descriptor_ = descriptor;
    }

private:
    int descriptor_;
};

std::string environmentSearchPath() {
    const char* path = std::getenv("PATH");
    return path != nullptr && *path != '\0' ? path : ProcessRunner::standardSearchPath;
}

// The child's environment: ours, with PATH replaced by the runner's search path so that a
// shell the child starts finds programs where the runner did.
std::vector<std::string> childEnvironment(const std::string& searchPath) {
    std::vector<std::string> entries;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        if (std::strncmp(*entry, "PATH=", 5) != 0) {
            entries.emplace_back(*entry);
        }
    }
    entries.push_back("PATH=" + searchPath);
    return entries;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (auto& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

int remainingMilliseconds(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::clamp<long long>(left.count(), 0, 60'000));
}

// Only async-signal-safe calls happen between fork and exec: the parent may run threads.
[[noreturn]] void becomeProgram(const char* path, char* const* argv, char* const* envp, int output,
                                int input, int errorReport) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    close_range(3, ~0u, CLOSE_RANGE_CLOEXEC);
    execve(path, argv, envp);
    const int failure = errno;
    [[maybe_unused]] const auto written = write(errorReport, &failure, sizeof failure);
    _exit(127);
}

int exitStatusOf(int waitStatus) {
    if (WIFEXITED(waitStatus)) {
        return WEXITSTATUS(waitStatus);
    }
    if (WIFSIGNALED(waitStatus)) {
        return 128 + WTERMSIG(waitStatus);
    }
    return -1;
}

// Waits for the child until the deadline; kills it when the deadline passes first.
// Returns the wait status and whether the child had to be killed.
std::pair<int, bool> reap(pid_t child, Clock::time_point deadline) {
    const OwnedDescriptor exitWatch(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
    int status = 0;
    while (true) {
        const pid_t done = waitpid(child, &status, WNOHANG);
        if (done == child) {
            return {status, false};
        }
        if (done < 0 && errno != EINTR) {
            return {-1, false};
        }
        const int wait = remainingMilliseconds(deadline);
        if (wait == 0) {
            break;
        }
        if (exitWatch.get() >= 0) {
            pollfd watch{exitWatch.get(), POLLIN, 0};
            poll(&watch, 1, wait);
        } else {
            // Without pidfd the exit cannot be polled for; look again shortly.
            pollfd nothing{-1, 0, 0};
            poll(&nothing, 1, std::min(wait, 10));
        }
    }
    kill(child, SIGKILL);
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return {status, true};
}

} // namespace

ProcessRunner::ProcessRunner() : ProcessRunner(environmentSearchPath()) {}

ProcessRunner::ProcessRunner(std::string searchPath, std::chrono::milliseconds timeLimit)
    : searchPath_(std::move(searchPath)), timeLimit_(timeLimit) {}

ProcessRunner ProcessRunner::withTimeLimit(std::chrono::milliseconds timeLimit) const {
    return ProcessRunner(searchPath_, timeLimit);
}

std::optional<std::string> ProcessRunner::locate(const std::string& program) const {
    if (program.empty()) {
        return std::nullopt;
    }
    if (program.find('/') != std::string::npos) {
        return program;
    }
    std::size_t start = 0;
    while (start <= searchPath_.size()) {
        auto end = searchPath_.find(':', start);
        if (end == std::string::npos) {
            end = searchPath_.size();
        }
        // An empty entry means the current folder, as in a shell.
        const auto folder = end > start ? searchPath_.substr(start, end - start) : ".";
        std::string candidate(folder);
        candidate.append("/").append(program);
        if (access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
        start = end + 1;
    }
    return std::nullopt;
}

ProcessRunner::Output ProcessRunner::run(const std::string& program,
                                         const std::vector<std::string>& arguments) const {
    const auto path = locate(program);
    if (!path) {
        return {-1, host_texts::programNotFound(program)};
    }
    std::vector<std::string> argumentTexts{program};
    argumentTexts.insert(argumentTexts.end(), arguments.begin(), arguments.end());
    auto environmentTexts = childEnvironment(searchPath_);
    const auto argv = pointersTo(argumentTexts);
    const auto envp = pointersTo(environmentTexts);

    std::array<int, 2> outputPipe{};
    std::array<int, 2> errorPipe{};
    if (pipe2(outputPipe.data(), O_CLOEXEC) != 0) {
        return {-1, host_texts::cannotStartProgram(program, std::strerror(errno))};
    }
    OwnedDescriptor outputRead(outputPipe[0]);
    OwnedDescriptor outputWrite(outputPipe[1]);
    if (pipe2(errorPipe.data(), O_CLOEXEC) != 0) {
        return {-1, host_texts::cannotStartProgram(program, std::strerror(errno))};
    }
    OwnedDescriptor errorRead(errorPipe[0]);
    OwnedDescriptor errorWrite(errorPipe[1]);
    const OwnedDescriptor input(open("/dev/null", O_RDONLY | O_CLOEXEC));

    const pid_t child = fork();
    if (child < 0) {
        return {-1, host_texts::cannotStartProgram(program, std::strerror(errno))};
    }
    if (child == 0) {
        becomeProgram(path->c_str(), argv.data(), envp.data(), outputWrite.get(), input.get(),
                      errorWrite.get());
    }
    outputWrite.reset();
    errorWrite.reset();

    int startFailure = 0;
    ssize_t reported = 0;
    do {
        reported = read(errorRead.get(), &startFailure, sizeof startFailure);
    } while (reported < 0 && errno == EINTR);
    if (reported == sizeof startFailure) {
        while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
        }
        return {-1, host_texts::cannotStartProgram(program, std::strerror(startFailure))};
    }

    // Read to the end before waiting, so a chatty child never blocks on a full pipe.
    const auto deadline = Clock::now() + timeLimit_;
    std::string collected;
    std::array<char, 4096> buffer{};
    bool outOfTime = false;
    while (true) {
        pollfd readable{outputRead.get(), POLLIN, 0};
        const int wait = remainingMilliseconds(deadline);
        const int ready = poll(&readable, 1, wait);
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready <= 0) {
            outOfTime = wait == 0 || ready == 0;
            break;
        }
        const auto count = read(outputRead.get(), buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            break;
        }
        collected.append(buffer.data(), static_cast<std::size_t>(count));
    }
    const auto [waitStatus, killed] = reap(child, outOfTime ? Clock::now() : deadline);
    if (killed) {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(
            timeLimit_ + std::chrono::milliseconds(999));
        return {-1, host_texts::programTimedOut(program, seconds.count())};
    }
    return {exitStatusOf(waitStatus), validUTF8(collected)};
}

std::string validUTF8(const std::string& bytes) {
    static constexpr std::string_view replacement = "\xEF\xBF\xBD";
    std::string text;
    text.reserve(bytes.size());
    std::size_t index = 0;
    while (index < bytes.size()) {
        const auto lead = static_cast<unsigned char>(bytes[index]);
        std::size_t length = 0;
        std::uint32_t lowest = 0;
        if (lead < 0x80) {
            length = 1;
        } else if ((lead & 0xE0) == 0xC0) {
            length = 2;
            lowest = 0x80;
        } else if ((lead & 0xF0) == 0xE0) {
            length = 3;
            lowest = 0x800;
        } else if ((lead & 0xF8) == 0xF0) {
            length = 4;
            lowest = 0x10000;
        }
        bool valid = length > 0 && index + length <= bytes.size();
        std::uint32_t codePoint = length > 1 ? lead & (0x7F >> length) : lead;
        for (std::size_t offset = 1; valid && offset < length; ++offset) {
            const auto next = static_cast<unsigned char>(bytes[index + offset]);
            valid = (next & 0xC0) == 0x80;
            codePoint = codePoint << 6 | (next & 0x3F);
        }
        // Overlong forms, surrogates and values past U+10FFFF are not UTF-8 either.
        valid = valid && codePoint >= lowest && codePoint <= 0x10FFFF &&
                !(codePoint >= 0xD800 && codePoint <= 0xDFFF);
        if (valid) {
            text.append(bytes, index, length);
            index += length;
        } else {
            text += replacement;
            index += 1;
        }
    }
    return text;
}

} // namespace corvane
