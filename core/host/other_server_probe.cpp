#include "core/host/other_server_probe.hpp"

#include <array>
#include <cerrno>
#include <cstring>
#include <random>

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/packet/dhcp_message_type.hpp"
#include "core/packet/dhcp_packet.hpp"
#include "core/packet/option_code.hpp"

namespace corvane::OtherServerProbe {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint16_t serverPort = 67;
constexpr std::uint16_t clientPort = 68;
constexpr std::size_t ipHeaderLength = 20;
constexpr std::size_t udpHeaderLength = 8;
// RFC 2131 4.1: the broadcast bit asks the server to broadcast its reply.
constexpr std::uint16_t broadcastFlag = 0x8000;

struct Descriptor {
    int value = -1;
    ~Descriptor() {
        if (value >= 0) {
            ::close(value);
        }
    }
};

OtherServerUnknown failure(std::string_view operation) {
    return {std::string(operation) + ": " + std::strerror(errno)};
}

DHCPPacket discover(std::uint32_t xid, std::mt19937& random) {
    DHCPPacket packet;
    packet.xid = xid;
    packet.flags = broadcastFlag;
    for (std::size_t index = 0; index < 6; ++index) {
        packet.chaddr[index] = static_cast<std::uint8_t>(random());
    }
    // Locally administered, unicast: never a maker's address, so never a real device's.
    packet.chaddr[0] = static_cast<std::uint8_t>((packet.chaddr[0] & 0xfc) | 0x02);
    packet.setOption(OptionCode::messageType,
                     {static_cast<std::uint8_t>(DHCPMessageType::discover)});
    packet.setOption(OptionCode::parameterList,
                     {OptionCode::subnetMask, OptionCode::router, OptionCode::serverID});
    return packet;
}

void putShort(Bytes& bytes, std::size_t at, std::uint16_t value) {
    bytes[at] = static_cast<std::uint8_t>(value >> 8);
    bytes[at + 1] = static_cast<std::uint8_t>(value);
}

std::uint16_t shortAt(std::span<const std::uint8_t> bytes, std::size_t at) {
    return static_cast<std::uint16_t>((bytes[at] << 8) | bytes[at + 1]);
}

// 0.0.0.0:68 to 255.255.255.255:67, as a client without an address sends it. The UDP
// checksum is left at zero, which IPv4 allows.
Bytes ipDatagram(const Bytes& payload) {
    Bytes bytes(ipHeaderLength + udpHeaderLength, 0);
    bytes[0] = 0x45;
    bytes[8] = 64;
    bytes[9] = IPPROTO_UDP;
    putShort(bytes, 2, static_cast<std::uint16_t>(bytes.size() + payload.size()));
    std::fill(bytes.begin() + 16, bytes.begin() + 20, 0xff);
    std::uint32_t sum = 0;
    for (std::size_t at = 0; at < ipHeaderLength; at += 2) {
        sum += shortAt(bytes, at);
    }
    while (sum > 0xffff) {
        sum = (sum & 0xffff) + (sum >> 16);
    }
    putShort(bytes, 10, static_cast<std::uint16_t>(~sum));
    putShort(bytes, ipHeaderLength, clientPort);
    putShort(bytes, ipHeaderLength + 2, serverPort);
    putShort(bytes, ipHeaderLength + 4,
             static_cast<std::uint16_t>(udpHeaderLength + payload.size()));
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

// The answer in one received IP datagram, when it is a server's reply to our DISCOVER.
std::optional<OtherServerAnswer> answerIn(std::span<const std::uint8_t> datagram,
                                          const sockaddr_ll& from, std::uint32_t xid) {
    if (datagram.size() < ipHeaderLength + udpHeaderLength || (datagram[0] >> 4) != 4 ||
        datagram[9] != IPPROTO_UDP) {
        return std::nullopt;
    }
    const std::size_t headerLength = std::size_t{datagram[0] & 0x0fu} * 4u;
    if (datagram.size() < headerLength + udpHeaderLength ||
        shortAt(datagram, headerLength + 2) != clientPort) {
        return std::nullopt;
    }
    const auto parsed = DHCPPacket::parse(datagram.subspan(headerLength + udpHeaderLength));
    const auto* reply = std::get_if<DHCPPacket>(&parsed);
    const auto mac = MACAddress::fromBytes(std::span(from.sll_addr, 6));
    if (reply == nullptr || reply->op != 2 || reply->xid != xid || !mac) {
        return std::nullopt;
    }
    const auto source = IPv4Address::fromBytes(datagram.subspan(12, 4));
    return OtherServerAnswer{reply->serverID().value_or(source.value_or(IPv4Address())), *mac};
}

bool sendDiscover(int descriptor, unsigned index, const Bytes& datagram) {
    sockaddr_ll to{};
    to.sll_family = AF_PACKET;
    to.sll_protocol = htons(ETH_P_IP);
    to.sll_ifindex = static_cast<int>(index);
    to.sll_halen = 6;
    std::fill(to.sll_addr, to.sll_addr + 6, 0xff);
    return ::sendto(descriptor, datagram.data(), datagram.size(), 0,
                    reinterpret_cast<const sockaddr*>(&to), sizeof(to)) >= 0;
}

} // namespace

OtherServerResult probe(const std::string& cardName, std::chrono::milliseconds listen) {
    const unsigned index = ::if_nametoindex(cardName.c_str());
    if (index == 0) {
        return failure("no card named " + cardName);
    }
    Descriptor socket{::socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, htons(ETH_P_IP))};
    if (socket.value < 0) {
        return failure("could not open a raw socket");
    }
    sockaddr_ll local{};
    local.sll_family = AF_PACKET;
    local.sll_protocol = htons(ETH_P_IP);
    local.sll_ifindex = static_cast<int>(index);
    if (::bind(socket.value, reinterpret_cast<const sockaddr*>(&local), sizeof(local)) != 0) {
        return failure("could not listen on " + cardName);
    }
    std::mt19937 random(std::random_device{}());
    const auto xid = static_cast<std::uint32_t>(random());
    if (!sendDiscover(
            socket.value, index,
            ipDatagram(discover(xid, random).serialize(DHCPPacket::minimumReplyLength)))) {
        return failure("could not send on " + cardName);
    }
    const auto deadline = std::chrono::steady_clock::now() + listen;
    std::array<std::uint8_t, 2048> buffer{};
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd watched{socket.value, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&watched, 1, static_cast<int>(left.count())) <= 0) {
            return NoOtherServer{};
        }
        sockaddr_ll from{};
        socklen_t size = sizeof(from);
        const auto count = ::recvfrom(socket.value, buffer.data(), buffer.size(), 0,
                                      reinterpret_cast<sockaddr*>(&from), &size);
        if (count <= 0 || from.sll_pkttype == PACKET_OUTGOING) {
            continue;
        }
        if (const auto answer =
                answerIn(std::span(buffer.data(), static_cast<std::size_t>(count)), from, xid)) {
            return *answer;
        }
    }
}

} // namespace corvane::OtherServerProbe
