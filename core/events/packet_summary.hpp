#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"
#include "core/packet/dhcp_message_type.hpp"
#include "core/packet/dhcp_packet.hpp"

namespace corvane {

// What the log and the run state keep of one received DHCP message. Malformed option
// values give absent fields rather than errors: the summary only reports.
struct PacketSummary {
    std::optional<DHCPMessageType> type;
    std::optional<MACAddress> mac;
    std::uint32_t xid = 0;
    std::optional<std::string> hostname;
    std::optional<std::string> vendorClass;
    std::optional<std::string> clientID;
    std::optional<IPv4Address> requestedIP;
    std::optional<IPv4Address> serverID;
    IPv4Address ciaddr;
    // The card the datagram arrived on, when the caller knows it.
    std::optional<std::string> interface;

    // Longest host name or vendor class shown, after escaping.
    static constexpr std::size_t textLimit = 64;

    PacketSummary() = default;
    PacketSummary(const DHCPPacket& packet, std::optional<std::string> interface);

    friend bool operator==(const PacketSummary&, const PacketSummary&) = default;
};

} // namespace corvane
