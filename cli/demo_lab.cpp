#include "cli/demo_lab.hpp"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cli/serve_texts.hpp"
#include "cli/stop_signals.hpp"

extern char** environ;

namespace corvane::cli {
namespace {

// The device's udhcpc script: it puts the leased address on the device's card, so that the
// server's presence probes find the device online.
constexpr const char* deviceScript = R"(#!/bin/sh
case "$1" in
deconfig)
    ip -4 address flush dev "$interface"
    ip link set "$interface" up
    ;;
bound|renew)
    ip -4 address replace "$ip/${mask:-24}" dev "$interface"
    ;;
esac
exit 0
)";

constexpr auto deviceStopGrace = std::chrono::seconds(2);

std::filesystem::path makeFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "corvane-demo-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw DemoLabError(texts::demoSetupFailed("temporary folder", std::strerror(errno)));
    }
    return pattern;
}

bool waitForExit(pid_t process, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (true) {
        const pid_t result = ::waitpid(process, nullptr, WNOHANG);
        if (result == process || (result < 0 && errno == ECHILD)) {
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

} // namespace

DemoLab::DemoLab(const ProcessRunner& runner, const Subnet& serverAddress,
                 const MACAddress& deviceMAC)
    : runner_(runner), folder_(makeFolder()) {
    try {
        const auto prefix = "corvane-demo-" + std::to_string(::getpid());
        addNamespace(prefix + "-server");
        addNamespace(prefix + "-device");
        const auto& server = namespaces_[0];
        const auto& device = namespaces_[1];
        // Made inside the server's namespace with its peer placed straight into the device's:
        // the cable never exists in the host's namespace.
        ip({"-n", server, "link", "add", serverCard, "type", "veth", "peer", "name", deviceCard,
            "netns", device, "address", deviceMAC.description()},
           "virtual cable");
        ip({"-n", server, "address", "add", serverAddress.description(), "dev", serverCard},
           "server address");
        for (const auto& [space, card] : {std::pair{server, std::string(serverCard)},
                                          std::pair{device, std::string(deviceCard)}}) {
            ip({"-n", space, "link", "set", "lo", "up"}, "loopback");
            ip({"-n", space, "link", "set", card, "up"}, "link up");
        }
        writeDeviceScript();
    } catch (...) {
        removeEverything();
        throw;
    }
}

DemoLab::~DemoLab() {
    removeEverything();
}

void DemoLab::startDevice() {
    const auto script = folder_ / "device.script";
    const auto output = folder_ / "device.log";
    const std::vector<std::string> arguments = {"ip",
                                                "netns",
                                                "exec",
                                                namespaces_[1],
                                                "busybox",
                                                "udhcpc",
                                                "-f",
                                                "-i",
                                                deviceCard,
                                                "-s",
                                                script,
                                                "-x",
                                                "hostname:demo-device",
                                                "-V",
                                                "corvane-demo"};
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const auto& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, output.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    // Its own process group, so that Ctrl-C reaches only corvane, which ends the device
    // itself; and the signal state a shell would give it.
    const sigset_t mask = StopSignals::childSignalMask();
    sigset_t defaults;
    sigfillset(&defaults);
    posix_spawnattr_setsigmask(&attributes, &mask);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                                              POSIX_SPAWN_SETPGROUP);
    const int error = ::posix_spawnp(&device_, "ip", &files, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    if (error != 0) {
        device_ = -1;
        throw DemoLabError(texts::demoSetupFailed("device", std::strerror(error)));
    }
}

void DemoLab::ip(const std::vector<std::string>& arguments, const std::string& step) {
    const auto result = runner_.run("ip", arguments);
    if (result.status != 0) {
        auto text = result.text;
        text.erase(text.find_last_not_of(" \n") + 1);
        throw DemoLabError(texts::demoSetupFailed(step, text));
    }
}

void DemoLab::addNamespace(const std::string& name) {
    ip({"netns", "add", name}, "network namespace");
    namespaces_.push_back(name);
}

void DemoLab::writeDeviceScript() const {
    const auto path = folder_ / "device.script";
    std::ofstream(path) << deviceScript;
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

void DemoLab::removeEverything() {
    if (device_ > 0) {
        ::kill(device_, SIGTERM);
        if (!waitForExit(device_, deviceStopGrace)) {
            ::kill(device_, SIGKILL);
            waitForExit(device_, deviceStopGrace);
        }
        device_ = -1;
    }
    // Removing a namespace removes its end of the cable, and a veth pair never outlives
    // either end.
    for (auto name = namespaces_.rbegin(); name != namespaces_.rend(); ++name) {
        runner_.run("ip", {"netns", "delete", *name});
    }
    namespaces_.clear();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

} // namespace corvane::cli
