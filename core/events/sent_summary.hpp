#pragma once

#include <optional>
#include <string>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"
#include "core/events/reply_destination.hpp"
#include "core/packet/dhcp_message_type.hpp"

namespace corvane {

// What is reported of one reply that left the socket.
struct SentSummary {
    DHCPMessageType type = DHCPMessageType::offer;
    // The address the reply gives the client (yiaddr).
    IPv4Address ip;
    MACAddress mac;
    ReplyDestination destination = ReplyDestination::broadcast();
    // The card the reply went out on.
    std::string interface;
    // The responder's remark, such as why a NAK was sent.
    std::optional<std::string> note;

    friend bool operator==(const SentSummary&, const SentSummary&) = default;
};

} // namespace corvane
