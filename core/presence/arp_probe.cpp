#include "core/presence/arp_probe.hpp"

#include <algorithm>
#include <cstring>

#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include "core/address/big_endian.hpp"

namespace corvane {
namespace {

constexpr std::size_t arpMessageSize = 28;
constexpr std::size_t hardwareAddressSize = 6;
constexpr std::size_t protocolAddressSize = 4;
constexpr std::size_t senderHardwareOffset = 8;
constexpr std::size_t senderProtocolOffset = 14;
constexpr std::size_t targetProtocolOffset = 24;
constexpr std::uint16_t ethernetHardware = ARPHRD_ETHER;
constexpr std::uint16_t ipv4Protocol = ETH_P_IP;

std::uint16_t wordAt(std::span<const std::uint8_t> message, std::size_t offset) {
    return static_cast<std::uint16_t>(message[offset] << 8 | message[offset + 1]);
}

void put(Bytes& message, std::size_t offset, std::span<const std::uint8_t> field) {
    std::copy(field.begin(), field.end(), message.begin() + static_cast<std::ptrdiff_t>(offset));
}

std::optional<MACAddress> hardwareAddressOf(int socket, const std::string& card) {
    ifreq request{};
    if (card.size() >= sizeof(request.ifr_name)) {
        return std::nullopt;
    }
    std::memcpy(request.ifr_name, card.data(), card.size());
    if (::ioctl(socket, SIOCGIFHWADDR, &request) != 0 ||
        request.ifr_hwaddr.sa_family != ethernetHardware) {
        return std::nullopt;
    }
    return MACAddress::fromBytes(std::span(
        reinterpret_cast<const std::uint8_t*>(request.ifr_hwaddr.sa_data), hardwareAddressSize));
}

} // namespace

Bytes ARPProbe::request(const MACAddress& sender, IPv4Address target) {
    Bytes message(arpMessageSize, 0);
    put(message, 0, bigEndianBytes(ethernetHardware));
    put(message, 2, bigEndianBytes(ipv4Protocol));
    message[4] = hardwareAddressSize;
    message[5] = protocolAddressSize;
    put(message, 6, bigEndianBytes(std::uint16_t{ARPOP_REQUEST}));
    put(message, senderHardwareOffset, sender.bytes());
    // The sender and target hardware addresses stay zero, and so does the sender address.
    put(message, targetProtocolOffset, target.bytes());
    return message;
}

std::optional<MACAddress> ARPProbe::answerFrom(std::span<const std::uint8_t> message,
                                               IPv4Address ip) {
    if (message.size() < arpMessageSize || wordAt(message, 0) != ethernetHardware ||
        wordAt(message, 2) != ipv4Protocol || message[4] != hardwareAddressSize ||
        message[5] != protocolAddressSize) {
        return std::nullopt;
    }
    const auto sender =
        IPv4Address::fromBytes(message.subspan(senderProtocolOffset, protocolAddressSize));
    if (!sender || *sender != ip || ip == IPv4Address::zero) {
        return std::nullopt;
    }
    auto hardware =
        MACAddress::fromBytes(message.subspan(senderHardwareOffset, hardwareAddressSize));
    if (!hardware || *hardware == MACAddress()) {
        return std::nullopt;
    }
    return hardware;
}

std::optional<FileDescriptor> ARPProbe::send(const std::string& card, IPv4Address ip) {
    const unsigned index = card.empty() ? 0 : ::if_nametoindex(card.c_str());
    if (index == 0) {
        return std::nullopt;
    }
    FileDescriptor socket(
        ::socket(AF_PACKET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, htons(ETH_P_ARP)));
    if (!socket.isOpen()) {
        return std::nullopt;
    }
    sockaddr_ll link{};
    link.sll_family = AF_PACKET;
    link.sll_protocol = htons(ETH_P_ARP);
    link.sll_ifindex = static_cast<int>(index);
    if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&link), sizeof(link)) != 0) {
        return std::nullopt;
    }
    const auto own = hardwareAddressOf(socket.get(), card);
    if (!own) {
        return std::nullopt;
    }
    const auto message = request(*own, ip);
    link.sll_halen = hardwareAddressSize;
    std::fill_n(link.sll_addr, hardwareAddressSize, 0xFF);
    const auto sent = ::sendto(socket.get(), message.data(), message.size(), 0,
                               reinterpret_cast<const sockaddr*>(&link), sizeof(link));
    if (sent != static_cast<ssize_t>(message.size())) {
        return std::nullopt;
    }
    return socket;
}

} // namespace corvane
