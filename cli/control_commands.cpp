#include <chrono>
#include <iostream>

#include "cli/running_server.hpp"
#include "cli/serve_texts.hpp"
#include "cli/subcommands.hpp"
#include "cli/usage_error.hpp"
#include "core/address/mac_address.hpp"
#include "core/control/control_error.hpp"
#include "core/leases/lease.hpp"
#include "core/leases/lease_file.hpp"

namespace corvane::cli {
namespace {

struct FollowOptions {
    std::string leaseFile;
    std::string mac;
    long long timeoutSeconds = 60;

    std::filesystem::path leaseFilePath() const {
        return leaseFile.empty() ? LeaseFile::defaultPath() : std::filesystem::path(leaseFile);
    }
};

std::optional<MACAddress> deviceOption(const std::string& text) {
    if (text.empty()) {
        return std::nullopt;
    }
    const auto mac = MACAddress::parse(text);
    if (!mac) {
        throw UsageError({texts::badMAC(text)});
    }
    return mac;
}

std::unique_ptr<ControlClient> runningServer(const std::filesystem::path& leaseFile) {
    auto server = connectToRunningServer(leaseFile);
    if (!server) {
        throw ControlError(texts::noServerOn(leaseFile));
    }
    return server;
}

// The address of a bound lease for `mac` in a reply or event line, if the line shows one.
std::optional<std::string> boundAddress(const nlohmann::json& line, const std::string& mac) {
    const auto now = std::chrono::system_clock::now();
    if (line.value("event", "") == "leaseChanged") {
        if (line.value("mac", "") == mac && line.value("state", "") == "bound") {
            return line.value("ip", "");
        }
        return std::nullopt;
    }
    for (const auto& entry : line.value("leases", nlohmann::json::array())) {
        const auto lease = entry.get<Lease>();
        if (lease.mac.description() == mac && lease.state == Lease::State::bound &&
            lease.holdsAddress(now)) {
            return lease.ip.description();
        }
    }
    return std::nullopt;
}

int waitLease(const FollowOptions& options) {
    const auto mac = deviceOption(options.mac)->description();
    if (options.timeoutSeconds < 1) {
        throw UsageError({texts::badTimeout(options.timeoutSeconds)});
    }
    const auto server = runningServer(options.leaseFilePath());
    // Following first and asking second leaves no gap where a binding could slip by.
    server->send({{"request", "subscribe"}, {"mac", mac}});
    server->send({{"request", "leases"}});
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::seconds(options.timeoutSeconds);
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        const auto reading = server->readLine(std::max(left, std::chrono::milliseconds(0)));
        if (std::holds_alternative<ControlClient::TimedOut>(reading)) {
            std::cerr << texts::noLeaseWithin(mac, options.timeoutSeconds) << "\n";
            return refusedStatus;
        }
        const auto* line = std::get_if<ControlClient::Line>(&reading);
        if (line == nullptr) {
            std::cerr << texts::serverStoppedWaiting(mac) << "\n";
            return refusedStatus;
        }
        const auto parsed = nlohmann::json::parse(line->text, nullptr, false);
        if (!parsed.is_object()) {
            continue;
        }
        if (const auto address = boundAddress(parsed, mac)) {
            std::cout << *address << std::endl;
            return successStatus;
        }
    }
}

int followEvents(const FollowOptions& options) {
    const auto device = deviceOption(options.mac);
    const auto server = runningServer(options.leaseFilePath());
    nlohmann::json request{{"request", "subscribe"}};
    if (device) {
        request["mac"] = device->description();
    }
    const auto reply = server->ask(request);
    if (!reply.value("ok", false)) {
        std::cerr << texts::serverRefused(reply.value("error", "")) << "\n";
        return refusedStatus;
    }
    // The lines are passed on as the server wrote them: the same form `serve --json` prints.
    while (true) {
        const auto reading = server->readLine();
        const auto* line = std::get_if<ControlClient::Line>(&reading);
        if (line == nullptr) {
            return successStatus;
        }
        std::cout << line->text << std::endl;
    }
}

void addLeaseFileOption(CLI::App& command, FollowOptions& options) {
    command.add_option("--lease-file", options.leaseFile,
                       "The lease file of the running server, if not the user's leases.json");
}

} // namespace

void addControlCommands(CLI::App& app) {
    auto waitOptions = std::make_shared<FollowOptions>();
    auto* wait = app.add_subcommand(
        "wait-lease",
        "Wait until a device holds a lease from the running server; print its address");
    wait->add_option("--mac", waitOptions->mac, "The device's MAC address")->required();
    wait->add_option("--timeout", waitOptions->timeoutSeconds,
                     "Seconds to wait before giving up (default 60)");
    addLeaseFileOption(*wait, *waitOptions);
    wait->callback([waitOptions] { exitUnlessSucceeded(waitLease(*waitOptions)); });

    auto eventOptions = std::make_shared<FollowOptions>();
    auto* events = app.add_subcommand(
        "events", "Follow the running server's events as JSON lines until Ctrl-C");
    events->add_option("--mac", eventOptions->mac, "Only this device's events");
    addLeaseFileOption(*events, *eventOptions);
    events->callback([eventOptions] { exitUnlessSucceeded(followEvents(*eventOptions)); });
}

} // namespace corvane::cli
