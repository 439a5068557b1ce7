#pragma once

#include <QTemporaryDir>
#include <cstdint>
#include <string>
#include <vector>

#include "app/model/app_model_environment.hpp"
#include "core/host/network_card.hpp"
#include "core/host/preflight_check.hpp"
#include "tests/support/held_loopback_port.hpp"
#include "tests/support/manual_clock.hpp"

namespace corvane::testing {

// A wired card with link and a NetworkManager connection "Wired <macByte>", as the card
// picker offers it.
inline NetworkCard wiredCard(const std::string& name, std::uint8_t macByte = 1) {
    NetworkCard card;
    card.bsdName = card.displayName = name;
    card.kind = NetworkCard::Kind::ethernet;
    card.mac = MACAddress(MACAddress::ByteArray{0x02, 0, 0x5e, 0, 0, macByte});
    card.linkUp = true;
    card.serviceName = "Wired " + std::to_string(macByte);
    card.managedByNetworkManager = true;
    return card;
}

inline PreflightCheck check(PreflightCheck::ID id, PreflightCheck::Status status) {
    return PreflightCheck{id, status, "", std::nullopt};
}

// The real program's environment, with its files in `folder` and no update feed.
inline AppModelEnvironment userEnvironment(const QTemporaryDir& folder) {
    const std::filesystem::path root = folder.path().toStdString();
    auto environment = AppModelEnvironment::forUser();
    environment.settingsPath = root / "settings.json";
    environment.leaseFilePath = root / "leases.json";
    environment.logDirectory = root / "logs";
    environment.updates = UpdateConfiguration{};
    environment.launchMinimum = std::chrono::milliseconds::zero();
    return environment;
}

// An environment that touches nothing of the user's: files in `folder`, the test's clock,
// the given cards and checks instead of the host's, the server on loopback. Server port 0
// lets the kernel pick a free one, so parallel test runs never collide.
inline AppModelEnvironment testEnvironment(const QTemporaryDir& folder, const ManualClock& clock,
                                           std::vector<NetworkCard> cards,
                                           std::vector<PreflightCheck> checks,
                                           std::uint16_t clientPort, std::uint16_t serverPort = 0) {
    auto environment = userEnvironment(folder);
    environment.clock = [&clock] { return clock.now(); };
    environment.host.listCards = [cards] { return cards; };
    environment.host.runChecks = [checks](const NetworkCard&, const ServerConfig&, bool) {
        return checks;
    };
    environment.host.port67Holder = [](const std::string&) { return std::string("dnsmasq"); };
    environment.host.runAsAdministrator = [](const std::string&, const SetupCommand&) {};
    environment.transportFor = [serverPort, clientPort](const NetworkCard&) {
        return TransportMode::loopback(serverPort, clientPort);
    };
    environment.presenceEnabled = false;
    environment.watchInterfaces = false;
    return environment;
}

} // namespace corvane::testing
