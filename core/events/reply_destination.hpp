#pragma once

#include <cstdint>
#include <string>

#include "core/address/ipv4_address.hpp"

namespace corvane {

// Where a reply goes: to the limited broadcast address, or straight to one client address.
// The DHCP client port is fixed, so only the address varies.
class ReplyDestination {
public:
    enum class Kind { broadcast, unicast };

    static constexpr std::uint16_t clientPort = 68;

    static constexpr ReplyDestination broadcast() { return ReplyDestination(); }
    static constexpr ReplyDestination unicast(IPv4Address address) {
        return ReplyDestination(Kind::unicast, address);
    }

    constexpr Kind kind() const { return kind_; }
    constexpr bool isBroadcast() const { return kind_ == Kind::broadcast; }
    // The address a datagram is sent to: 255.255.255.255 for a broadcast.
    constexpr IPv4Address address() const { return address_; }
    // "255.255.255.255:68" or "{address}:68".
    std::string description() const;

    friend constexpr bool operator==(const ReplyDestination&, const ReplyDestination&) = default;

private:
    constexpr ReplyDestination() = default;
    constexpr ReplyDestination(Kind kind, IPv4Address address) : kind_(kind), address_(address) {}

    Kind kind_ = Kind::broadcast;
    IPv4Address address_ = IPv4Address::broadcast;
};

} // namespace corvane
