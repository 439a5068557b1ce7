#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/address/ipv4_address.hpp"

namespace corvane {

// An address with a prefix length. The address is kept exactly as given, so 10.0.0.5/24
// and 10.0.0.0/24 are different values; compare `network()` where the network is meant.
struct Subnet {
    IPv4Address address;
    int prefixLength = 0;

    // "a.b.c.d/n" with n in 0...32. Empty pieces around "/" are dropped on purpose, so
    // "10.0.0.1//24" reads as 10.0.0.1/24.
    static std::optional<Subnet> parse(std::string_view cidr);
    // The prefix length of a contiguous netmask; no value for a mask like 255.255.0.255.
    static std::optional<int> prefixLengthOfMask(IPv4Address mask);

    IPv4Address mask() const;
    IPv4Address network() const;
    IPv4Address broadcast() const;
    bool contains(IPv4Address candidate) const;
    // True when one of the two contains the other's network.
    bool overlaps(const Subnet& other) const;
    // The network and the prefix, e.g. 192.168.2.0/24 for 192.168.2.1/24.
    std::string description() const;

    friend bool operator==(const Subnet&, const Subnet&) = default;
};

// The netmask with the top `prefixLength` bits set; lengths outside 0...32 are clamped.
constexpr std::uint32_t maskBits(int prefixLength) {
    if (prefixLength <= 0) {
        return 0;
    }
    if (prefixLength >= 32) {
        return 0xFFFFFFFFu;
    }
    return 0xFFFFFFFFu << (32 - prefixLength);
}

} // namespace corvane
