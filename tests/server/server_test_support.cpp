#include "tests/server/server_test_support.hpp"

#include <cerrno>
#include <cstdlib>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/log/event_log.hpp"
#include "core/packet/option_code.hpp"
#include "core/transport/transport_mode.hpp"

namespace corvane {

void PrintTo(const ServerEvent& event, std::ostream* out) {
    if (const auto* cleared = event.as<ServerEvent::NoticeCleared>()) {
        *out << "noticeCleared(" << noticeKindName(cleared->kind) << ")";
        return;
    }
    *out << EventLog::json(event, TimePoint{}).value_or("event");
}

} // namespace corvane

namespace corvane::testing {
namespace {

sockaddr_in socketAddress(std::uint32_t host, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(host);
    return address;
}

} // namespace

DHCPPacket clientMessage(DHCPMessageType type, const MACAddress& mac, std::uint32_t xid) {
    DHCPPacket packet;
    packet.xid = xid;
    std::copy(mac.bytes().begin(), mac.bytes().end(), packet.chaddr.begin());
    packet.setOption(OptionCode::messageType, {static_cast<std::uint8_t>(type)});
    return packet;
}

DHCPPacket discover(const MACAddress& mac, std::uint32_t xid) {
    return clientMessage(DHCPMessageType::discover, mac, xid);
}

DHCPPacket request(const MACAddress& mac, std::uint32_t xid, IPv4Address server,
                   IPv4Address requested) {
    auto packet = clientMessage(DHCPMessageType::request, mac, xid);
    const auto serverBytes = server.bytes();
    const auto requestedBytes = requested.bytes();
    packet.setOption(OptionCode::requestedIP, Bytes(requestedBytes.begin(), requestedBytes.end()));
    packet.setOption(OptionCode::serverID, Bytes(serverBytes.begin(), serverBytes.end()));
    return packet;
}

Lease boundLease(const MACAddress& mac, IPv4Address address, std::chrono::seconds left) {
    Lease lease;
    lease.mac = mac;
    lease.ip = address;
    lease.state = Lease::State::bound;
    lease.expiresAt = testStart + left;
    lease.firstSeen = testStart - 1h;
    lease.lastSeen = testStart - 1h;
    return lease;
}

std::optional<ServerEvent> nextEvent(EventStream& events, std::string_view expected) {
    auto event = events.next(eventWait);
    if (!event) {
        ADD_FAILURE() << "no event within " << eventWait.count() << " ms; expected " << expected;
    }
    return event;
}

std::vector<ServerEvent> nextEvents(EventStream& events, std::size_t count) {
    std::vector<ServerEvent> taken;
    while (taken.size() < count) {
        auto event = events.next(eventWait);
        if (!event) {
            break;
        }
        taken.push_back(std::move(*event));
    }
    return taken;
}

ClientSocket::ClientSocket(const std::optional<std::string>& card)
    : fd_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
      destination_(card ? INADDR_BROADCAST : INADDR_LOOPBACK) {
    auto local = socketAddress(INADDR_LOOPBACK, 0);
    if (card) {
        const int on = 1;
        setsockopt(fd_, SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
        setsockopt(fd_, SOL_SOCKET, SO_BINDTODEVICE, card->c_str(),
                   static_cast<socklen_t>(card->size()));
        local = socketAddress(INADDR_ANY, TransportMode::dhcpClientPort);
    }
    socklen_t length = sizeof local;
    if (fd_ < 0 || bind(fd_, reinterpret_cast<const sockaddr*>(&local), length) != 0 ||
        getsockname(fd_, reinterpret_cast<sockaddr*>(&local), &length) != 0) {
        throw std::runtime_error("cannot bind a client test socket");
    }
    port_ = ntohs(local.sin_port);
}

ClientSocket::~ClientSocket() {
    close(fd_);
}

void ClientSocket::send(std::span<const std::uint8_t> bytes, std::uint16_t serverPort) const {
    const auto server = socketAddress(destination_, serverPort);
    const auto sent = sendto(fd_, bytes.data(), bytes.size(), 0,
                             reinterpret_cast<const sockaddr*>(&server), sizeof server);
    ASSERT_EQ(sent, static_cast<ssize_t>(bytes.size())) << "errno " << errno;
}

void ClientSocket::send(const DHCPPacket& packet, std::uint16_t serverPort) const {
    // Real clients on a card pad to the BOOTP minimum; on loopback the messages stay as short
    // as their options allow, which the server must accept too.
    const bool padded = destination_ == INADDR_BROADCAST;
    send(packet.serialize(padded ? DHCPPacket::minimumReplyLength : 0), serverPort);
}

std::optional<Bytes> ClientSocket::receiveBytes(std::chrono::milliseconds limit) const {
    pollfd entry{fd_, POLLIN, 0};
    if (poll(&entry, 1, static_cast<int>(limit.count())) != 1) {
        return std::nullopt;
    }
    Bytes buffer(2048);
    const auto count = recv(fd_, buffer.data(), buffer.size(), 0);
    if (count < 0) {
        return std::nullopt;
    }
    buffer.resize(static_cast<std::size_t>(count));
    return buffer;
}

std::optional<DHCPPacket> ClientSocket::receive(std::chrono::milliseconds limit) const {
    const auto bytes = receiveBytes(limit);
    if (!bytes) {
        return std::nullopt;
    }
    auto parsed = DHCPPacket::parse(*bytes);
    if (const auto* packet = std::get_if<DHCPPacket>(&parsed)) {
        return *packet;
    }
    return std::nullopt;
}

void LoopbackServerFixture::makeServer() {
    server = DHCPServer::create(
        {
            .config = config,
            .mode = TransportMode::loopback(serverPort, client.port()),
            .cardMAC = std::nullopt,
            .leaseFile = LeaseFile(leasesPath()),
            .presenceEnabled = false,
        },
        clock.function());
}

void LoopbackServerFixture::startServer() {
    if (!server) {
        makeServer();
    }
    server->start();
    EXPECT_EQ(nextEvent(events(), "started"), ServerEvent(ServerEvent::Started{"lo", config}));
}

} // namespace corvane::testing
