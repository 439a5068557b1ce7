#pragma once

#include <QTemporaryDir>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "app/model/app_model_environment.hpp"
#include "core/host/network_card.hpp"
#include "core/host/preflight_check.hpp"
#include "tests/support/held_loopback_port.hpp"

namespace corvane::testing {

// 2025-03-01T12:00:00Z: the screens' tests read time only through the model.
inline constexpr TimePoint screensNow{std::chrono::seconds{1'740'830'400}};

// A wired card with link and a NetworkManager connection named "Wired 1".
inline NetworkCard wiredTestCard(const std::string& name) {
    NetworkCard card;
    card.bsdName = name;
    card.displayName = name;
    card.kind = NetworkCard::Kind::ethernet;
    card.mac = MACAddress(MACAddress::ByteArray{0x02, 0, 0x5e, 0, 0, 1});
    card.linkUp = true;
    card.serviceName = "Wired 1";
    return card;
}

// The model over the given cards and checks instead of the host's, with its files in
// `folder`, a clock that stands still and the server on loopback `serverPort` (0: any).
inline AppModelEnvironment screensEnvironment(const QTemporaryDir& folder,
                                              std::vector<NetworkCard> cards,
                                              std::vector<PreflightCheck> checks,
                                              std::uint16_t serverPort = 0) {
    const std::filesystem::path root = folder.path().toStdString();
    AppModelEnvironment environment;
    environment.clock = [] { return screensNow; };
    environment.settingsPath = root / "settings.json";
    environment.leaseFilePath = root / "leases.json";
    environment.logDirectory = root / "logs";
    environment.host.listCards = [cards] { return cards; };
    environment.host.runChecks = [checks](const NetworkCard&, const ServerConfig&, bool) {
        return checks;
    };
    environment.host.port67Holder = [](const std::string&) { return std::string("dnsmasq"); };
    environment.host.setupTool = [] { return HostSetup::Tool::networkManager; };
    environment.host.runAsAdministrator = [](const std::string&, const SetupCommand&) {};
    environment.transportFor = [serverPort](const NetworkCard&) {
        return TransportMode::loopback(serverPort, 0);
    };
    environment.presenceEnabled = false;
    environment.watchInterfaces = false;
    environment.launchMinimum = std::chrono::milliseconds::zero();
    return environment;
}

} // namespace corvane::testing
