#include "tests/support/network_lab.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace corvane::testing {
namespace {

int shell(const std::string& command) {
    const int status = std::system((command + " >/dev/null 2>&1").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char character : text) {
        result += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return result + "'";
}

} // namespace

std::optional<std::string> NetworkLab::unavailableReason() {
    if (geteuid() != 0) {
        return "network namespace tests need root (CI runs them as root)";
    }
    if (shell("command -v ip") != 0) {
        return "network namespace tests need iproute2's ip command";
    }
    const std::string probe = "cvprobe" + std::to_string(getpid());
    if (shell("ip netns add " + probe) != 0) {
        return "this machine does not allow creating network namespaces";
    }
    shell("ip netns del " + probe);
    return std::nullopt;
}

NetworkLab::NetworkLab() : prefix_("cv" + std::to_string(getpid()) + "-") {}

NetworkLab::~NetworkLab() {
    for (const auto process : std::vector<pid_t>(processes_)) {
        stop(process);
    }
    for (auto name = namespaces_.rbegin(); name != namespaces_.rend(); ++name) {
        shell("ip netns del " + *name);
    }
}

std::string NetworkLab::addNamespace(const std::string& shortName) {
    const std::string name = prefix_ + shortName;
    shell("ip netns del " + name);
    if (shell("ip netns add " + name) != 0) {
        throw std::runtime_error("could not create network namespace " + name);
    }
    namespaces_.push_back(name);
    run(name, "ip link set lo up");
    return name;
}

void NetworkLab::addVethPair(const std::string& firstNamespace, const std::string& firstName,
                             const std::string& secondNamespace, const std::string& secondName) {
    run(firstNamespace, "ip link add " + firstName + " type veth peer name " + secondName +
                            " netns " + secondNamespace);
    run(firstNamespace, "ip link set " + firstName + " up");
    run(secondNamespace, "ip link set " + secondName + " up");
}

void NetworkLab::run(const std::string& namespaceName, const std::string& command) {
    const std::string line = "ip netns exec " + namespaceName + " sh -c " + quoted(command);
    if (shell(line) != 0) {
        throw std::runtime_error("command failed in " + namespaceName + ": " + command);
    }
}

std::string NetworkLab::output(const std::string& namespaceName, const std::string& command) {
    const std::string line = "ip netns exec " + namespaceName + " sh -c " + quoted(command);
    FILE* pipe = popen(line.c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("could not run: " + command);
    }
    std::string text;
    std::array<char, 4096> buffer{};
    while (const auto count = fread(buffer.data(), 1, buffer.size(), pipe)) {
        text.append(buffer.data(), count);
    }
    const int status = pclose(pipe);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error("command failed in " + namespaceName + ": " + command);
    }
    return text;
}

pid_t NetworkLab::spawn(const std::string& namespaceName,
                        const std::vector<std::string>& arguments) {
    std::vector<std::string> full = {"ip", "netns", "exec", namespaceName};
    full.insert(full.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (auto& argument : full) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    const pid_t child = fork();
    if (child < 0) {
        throw std::runtime_error("fork failed");
    }
    if (child == 0) {
        const int null = open("/dev/null", O_RDWR);
        dup2(null, STDIN_FILENO);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    processes_.push_back(child);
    return child;
}

void NetworkLab::stop(pid_t process) {
    const auto found = std::find(processes_.begin(), processes_.end(), process);
    if (found == processes_.end()) {
        return;
    }
    processes_.erase(found);
    kill(process, SIGTERM);
    for (int attempt = 0; attempt < 100; ++attempt) {
        if (waitpid(process, nullptr, WNOHANG) == process) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
}

NetworkLab::Entered::Entered(const std::string& namespaceName)
    : home_(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC)) {
    const int target = open(("/run/netns/" + namespaceName).c_str(), O_RDONLY | O_CLOEXEC);
    if (home_ < 0 || target < 0 || setns(target, CLONE_NEWNET) != 0) {
        if (target >= 0) {
            close(target);
        }
        throw std::runtime_error("could not enter network namespace " + namespaceName);
    }
    close(target);
}

NetworkLab::Entered::~Entered() {
    if (home_ >= 0) {
        setns(home_, CLONE_NEWNET);
        close(home_);
    }
}

} // namespace corvane::testing
