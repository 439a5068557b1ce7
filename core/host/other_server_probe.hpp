#pragma once

#include <chrono>
#include <string>
#include <variant>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"

namespace corvane {

// Nothing answered within the listening time.
struct NoOtherServer {
    friend bool operator==(const NoOtherServer&, const NoOtherServer&) = default;
};
// A DHCP server on the cable answered: its own address (its server identifier, else the
// reply's source) and the hardware address the reply came from.
struct OtherServerAnswer {
    IPv4Address address;
    MACAddress mac;
    friend bool operator==(const OtherServerAnswer&, const OtherServerAnswer&) = default;
};
// The card could not be asked; `reason` is the system's text.
struct OtherServerUnknown {
    std::string reason;
    friend bool operator==(const OtherServerUnknown&, const OtherServerUnknown&) = default;
};
using OtherServerResult = std::variant<NoOtherServer, OtherServerAnswer, OtherServerUnknown>;

// The active look for a rogue server: one DHCPDISCOVER broadcast from the card, as a new
// device would send it, then listening for an offer. The DISCOVER carries a random locally
// administered hardware address, so no real device's lease is touched, and sets the
// broadcast flag so the answer reaches us before we have an address. Raw link-layer
// sockets need only cap_net_raw and never compete with a DHCP client for port 68.
namespace OtherServerProbe {

inline constexpr std::chrono::milliseconds listenTime{2000};

// Blocks for up to `listen`.
OtherServerResult probe(const std::string& cardName, std::chrono::milliseconds listen = listenTime);

} // namespace OtherServerProbe
} // namespace corvane
