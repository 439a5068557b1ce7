#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"
#include "core/address/subnet.hpp"

namespace corvane {

// One network interface of this computer, with everything the card picker and the
// preflight checks need to know about it.
struct NetworkCard {
    enum class Kind { ethernet, wifi, bridge, other };

    // How the operating system configures the card's IPv4 address.
    struct Manual {
        IPv4Address ip;
        IPv4Address mask;
        friend bool operator==(const Manual&, const Manual&) = default;
    };
    struct Other {
        std::string method;
        friend bool operator==(const Other&, const Other&) = default;
    };
    struct DHCP {
        friend bool operator==(const DHCP&, const DHCP&) = default;
    };
    struct None {
        friend bool operator==(const None&, const None&) = default;
    };
    using ConfigMethod = std::variant<Manual, Other, DHCP, None>;

    std::string bsdName;
    std::string displayName;
    std::optional<std::string> serviceName;
    Kind kind = Kind::other;
    std::optional<MACAddress> mac;
    bool linkUp = false;
    std::optional<std::string> media;
    std::vector<Subnet> addresses;
    ConfigMethod configMethod = None{};
    bool isPrimary = false;
    // Linux additions: an Ethernet-framed card with no hardware behind it (veth, tap,
    // macvlan), offered only when virtual cards are switched on; the kernel driver's name,
    // which singles out Thunderbolt networking; and whether NetworkManager configures the
    // card (else its addresses are set with iproute2).
    bool isVirtualEthernet = false;
    std::string driver;
    bool managedByNetworkManager = false;

    const std::string& id() const { return bsdName; }
    // The one-line address text shown under the card.
    std::string addressSummary() const;

    friend bool operator==(const NetworkCard&, const NetworkCard&) = default;
};

std::string_view kindName(NetworkCard::Kind kind);
// A short readable form of a configuration method, such as "manual 10.0.0.1/255.0.0.0".
std::string methodDescription(const NetworkCard::ConfigMethod& method);

} // namespace corvane

// Equal cards have equal names, so hashing the name alone stays consistent with ==.
template <> struct std::hash<corvane::NetworkCard> {
    std::size_t operator()(const corvane::NetworkCard& card) const noexcept {
        return std::hash<std::string>{}(card.bsdName);
    }
};
