#pragma once

#include <QTemporaryDir>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "app/model/app_model_environment.hpp"
#include "core/host/network_card.hpp"
#include "core/host/preflight_check.hpp"

namespace corvane::testing {

// 2025-03-01T12:00:00Z: the screens' tests read time only through the model.
inline constexpr TimePoint screensNow{std::chrono::seconds{1'740'830'400}};

// A UDP socket on 127.0.0.1 holding a port for as long as it lives, so a server told to use
// that port cannot open it.
class HeldLoopbackPort {
public:
    HeldLoopbackPort() : socket_(::socket(AF_INET, SOCK_DGRAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        ::bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address);
        ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
    }
    ~HeldLoopbackPort() { ::close(socket_); }
    HeldLoopbackPort(const HeldLoopbackPort&) = delete;
    HeldLoopbackPort& operator=(const HeldLoopbackPort&) = delete;
    std::uint16_t port() const { return port_; }

private:
    int socket_;
    std::uint16_t port_ = 0;
};

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
