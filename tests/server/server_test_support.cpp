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

sockaddr_in loopbackAddress(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// A UDP socket bound to 127.0.0.1 on `port` (0: any free port); returns the descriptor.
int boundLoopbackSocket(std::uint16_t port) {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const auto local = loopbackAddress(port);
    if (fd < 0 || bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        throw std::runtime_error("cannot bind a loopback test socket");
    }
    return fd;
}

std::uint16_t portOf(int fd) {
    sockaddr_in bound{};
    socklen_t length = sizeof bound;
    getsockname(fd, reinterpret_cast<sockaddr*>(&bound), &length);
    return ntohs(bound.sin_port);
}

} // namespace

TemporaryFolder::TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "corvane-server-XXXXXX");
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot create a temporary folder");
    }
    path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

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

void writeLeaseFile(const std::filesystem::path& path, const LeaseTable& table) {
    LeaseFile(path).save(table);
}

std::optional<ServerEvent> nextEvent(EventStream& events, std::string_view expected) {
    auto event = events.next(eventWait);
    if (!event) {
        ADD_FAILURE() << "no event within " << eventWait.count() << " ms; expected " << expected;
    }
    return event;
}

LoopbackClient::LoopbackClient() : fd_(boundLoopbackSocket(0)), port_(portOf(fd_)) {}

LoopbackClient::~LoopbackClient() {
    close(fd_);
}

void LoopbackClient::send(std::span<const std::uint8_t> bytes, std::uint16_t serverPort) const {
    const auto server = loopbackAddress(serverPort);
    const auto sent = sendto(fd_, bytes.data(), bytes.size(), 0,
                             reinterpret_cast<const sockaddr*>(&server), sizeof server);
    ASSERT_EQ(sent, static_cast<ssize_t>(bytes.size())) << "errno " << errno;
}

void LoopbackClient::send(const DHCPPacket& packet, std::uint16_t serverPort) const {
    send(packet.serialize(0), serverPort);
}

std::optional<Bytes> LoopbackClient::receiveBytes(std::chrono::milliseconds limit) const {
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

std::optional<DHCPPacket> LoopbackClient::receive(std::chrono::milliseconds limit) const {
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

int holdLoopbackPort(std::uint16_t port) {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const auto local = loopbackAddress(port);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

std::uint16_t unusedLoopbackPort() {
    const int fd = boundLoopbackSocket(0);
    const auto port = portOf(fd);
    close(fd);
    return port;
}

} // namespace corvane::testing
