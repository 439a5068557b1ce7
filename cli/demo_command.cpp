#include <fstream>
#include <iostream>

#include <linux/capability.h>
#include <unistd.h>

#include "cli/demo_lab.hpp"
#include "cli/entered_namespace.hpp"
#include "cli/event_printer.hpp"
#include "cli/serve_texts.hpp"
#include "cli/serve_until_stopped.hpp"
#include "cli/stop_signals.hpp"
#include "cli/subcommands.hpp"
#include "cli/usage_error.hpp"
#include "core/log/local_time_zone.hpp"
#include "core/server/dhcp_server.hpp"
#include "core/transport/transport_error.hpp"

namespace corvane::cli {
namespace {

struct DemoOptions {
    std::string seconds;
};

constexpr std::int64_t longestDemoSeconds = 86'400;

// The demo's own network, far from the usual home and office ranges. A one-minute lease is
// the shortest allowed, so the device renews within the first half minute.
ServerConfig demoConfig() {
    ServerConfig config;
    config.serverIP = IPv4Address(192, 168, 77, 1);
    config.prefixLength = 24;
    config.rangeStart = IPv4Address(192, 168, 77, 100);
    config.rangeEnd = IPv4Address(192, 168, 77, 150);
    config.leaseSeconds = 60;
    config.router = config.serverIP;
    config.dns = {config.serverIP};
    return config;
}

// A locally administered address, so it can never be mistaken for a real card's.
constexpr MACAddress demoDeviceMAC(MACAddress::ByteArray{0x02, 0xc0, 0x4a, 0x0d, 0xe0, 0x01});

// Root, or both capabilities that creating and entering namespaces take.
bool mayCreateNamespaces() {
    if (::geteuid() == 0) {
        return true;
    }
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("CapEff:", 0) == 0) {
            const auto effective = std::stoull(line.substr(7), nullptr, 16);
            const auto needed = (1ULL << CAP_NET_ADMIN) | (1ULL << CAP_SYS_ADMIN);
            return (effective & needed) == needed;
        }
    }
    return false;
}

std::optional<std::chrono::milliseconds> runLimit(const std::string& text) {
    if (text.empty()) {
        return std::nullopt;
    }
    if (text.size() > 6 || text.find_first_not_of("0123456789") != std::string::npos) {
        throw UsageError({std::string(texts::badSeconds)});
    }
    const auto seconds = std::stoll(text);
    if (seconds < 1 || seconds > longestDemoSeconds) {
        throw UsageError({std::string(texts::badSeconds)});
    }
    return std::chrono::seconds(seconds);
}

void printSummary(const CorvaneState& state) {
    const auto device = demoDeviceMAC.description();
    if (!state.deviceFound) {
        std::cout << texts::demoNoDevice(device) << "\n";
        return;
    }
    std::cout << texts::demoDeviceFound(device, state.deviceFound->ip.description()) << "\n";
}

int runDemo(const DemoOptions& options) {
    const auto limit = runLimit(options.seconds);
    if (!mayCreateNamespaces()) {
        std::cerr << texts::demoNeedsRoot << "\n";
        return refusedStatus;
    }
    const ProcessRunner runner;
    for (const auto& [program, package] : {std::pair{"ip", "iproute2"}, {"busybox", "busybox"}}) {
        if (!runner.locate(program)) {
            std::cerr << texts::demoProgramMissing(program, package) << "\n";
            return refusedStatus;
        }
    }
    // A Ctrl-C from here on ends the demo in order, so the lab is always taken down.
    StopSignals signals;
    const auto config = demoConfig();
    std::optional<CorvaneState> finalState;
    try {
        DemoLab lab(runner, config.subnet(), demoDeviceMAC);
        std::cout << texts::demoIntroduction(config.serverIP.description() + "/" +
                                                 std::to_string(config.prefixLength),
                                             demoDeviceMAC.description())
                  << std::endl;
        const EnteredNamespace entered(lab.serverNamespace());
        const auto zone = localTimeZone();
        LogFileWriter logFile(lab.folder() / "logs", zone);
        // Created inside the server's namespace: its threads and socket live there.
        const auto server = DHCPServer::create(
            DHCPServer::Options{config, TransportMode::interface(DemoLab::serverCard), std::nullopt,
                                LeaseFile(lab.folder() / "leases.json"), true});
        server->start();
        lab.startDevice();
        EventPrinter printer(std::cout, EventPrinter::Format::text, logFile, zone);
        finalState = serveUntilStopped(*server, DemoLab::serverCard, signals, printer, limit);
    } catch (const DemoLabError& error) {
        std::cerr << error.what() << "\n";
        return refusedStatus;
    } catch (const TransportError& error) {
        std::cerr << error.description() << "\n";
        return refusedStatus;
    }
    printSummary(*finalState);
    std::cout << texts::demoCleanedUp << "\n";
    return successStatus;
}

} // namespace

void addDemoCommand(CLI::App& app) {
    auto options = std::make_shared<DemoOptions>();
    auto* command = app.add_subcommand(
        "demo", "Show Corvane serving a simulated device across a virtual cable (needs root)");
    command->add_option("--seconds", options->seconds,
                        "End the demo after this many seconds instead of at Ctrl-C");
    command->callback([options] { exitUnlessSucceeded(runDemo(*options)); });
}

} // namespace corvane::cli
