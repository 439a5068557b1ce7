#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"
#include "core/events/server_event.hpp"
#include "core/leases/lease.hpp"
#include "core/leases/lease_file.hpp"
#include "core/leases/lease_table.hpp"
#include "core/packet/dhcp_packet.hpp"
#include "core/server/dhcp_server.hpp"
#include "core/server/event_stream.hpp"
#include "tests/support/held_loopback_port.hpp"
#include "tests/support/manual_clock.hpp"
#include "tests/support/temporary_folder.hpp"

namespace corvane {

// Failures name the event and its payload instead of dumping bytes.
void PrintTo(const ServerEvent& event, std::ostream* out);

} // namespace corvane

namespace corvane::testing {

using namespace std::chrono_literals;

// Long enough for a loaded machine; an event that does not come within it never will.
inline constexpr std::chrono::milliseconds eventWait = 5s;

inline IPv4Address ip(std::string_view text) {
    return IPv4Address::parse(text).value();
}

inline constexpr MACAddress device(std::uint8_t number) {
    return MACAddress(MACAddress::ByteArray{0x02, 0x00, 0x5e, 0x00, 0x00, number});
}

// A client message as a DHCP client builds it: broadcast flag clear, no relay.
DHCPPacket clientMessage(DHCPMessageType type, const MACAddress& mac, std::uint32_t xid);
DHCPPacket discover(const MACAddress& mac, std::uint32_t xid);
// Selecting an offer (RFC 2131 4.3.2): server identifier and requested address.
DHCPPacket request(const MACAddress& mac, std::uint32_t xid, IPv4Address server,
                   IPv4Address requested);

// A lease record with whole-second times relative to `testStart`.
Lease boundLease(const MACAddress& mac, IPv4Address address, std::chrono::seconds left);

// The next event, or a test failure naming what was expected when none comes in time.
std::optional<ServerEvent> nextEvent(EventStream& events, std::string_view expected);
// The next `count` events; fewer only when the stream went quiet.
std::vector<ServerEvent> nextEvents(EventStream& events, std::size_t count);

// The next event as the given case; a different event or none fails the test.
template <typename Case> std::optional<Case> nextOf(EventStream& events, std::string_view what) {
    const auto event = nextEvent(events, what);
    if (!event) {
        return std::nullopt;
    }
    if (const auto* payload = event->as<Case>()) {
        return *payload;
    }
    ADD_FAILURE() << "expected " << what << ", got " << ::testing::PrintToString(*event);
    return std::nullopt;
}

// A DHCP client's UDP socket in the namespace of the calling thread. Without a card it sits
// on 127.0.0.1 at a free port, for the server's loopback mode; on a card it sits on port 68
// and broadcasts, as a real client does.
class ClientSocket {
public:
    explicit ClientSocket(const std::optional<std::string>& card = std::nullopt);
    ~ClientSocket();
    ClientSocket(const ClientSocket&) = delete;
    ClientSocket& operator=(const ClientSocket&) = delete;

    std::uint16_t port() const { return port_; }
    void send(std::span<const std::uint8_t> bytes, std::uint16_t serverPort) const;
    void send(const DHCPPacket& packet, std::uint16_t serverPort) const;
    // The next datagram for the client, parsed; none when nothing came within `limit`.
    std::optional<DHCPPacket> receive(std::chrono::milliseconds limit = eventWait) const;
    std::optional<Bytes> receiveBytes(std::chrono::milliseconds limit = eventWait) const;

private:
    int fd_ = -1;
    std::uint16_t port_ = 0;
    std::uint32_t destination_ = 0;
};

// A server in loopback mode on a free port, answering the test's client socket, with a clock
// the test moves and a lease file in a temporary folder.
class LoopbackServerFixture : public ::testing::Test {
protected:
    void TearDown() override {
        if (server) {
            server->stop();
        }
    }

    std::filesystem::path leasesPath() const { return folder.path() / "leases.json"; }
    EventStream& events() { return server->events(); }
    void makeServer();
    // Starts the server, made first unless the test already did, and expects `started`.
    void startServer();

    ServerConfig config = ServerConfig::defaultConfig();
    ManualClock clock;
    TemporaryFolder folder;
    ClientSocket client;
    std::uint16_t serverPort = HeldLoopbackPort().port();
    std::shared_ptr<DHCPServer> server;
};

} // namespace corvane::testing
