#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/address/mac_address.hpp"
#include "core/address/subnet.hpp"

namespace corvane {

// Dumps of the kernel's links, IPv4 addresses and default routes over a route netlink
// socket. The socket lives in the calling thread's network namespace, so a thread that has
// entered a namespace sees that namespace's facts (sysfs would not follow it). Every query
// fails soft: an empty list when the kernel cannot be asked.
class Rtnetlink {
public:
    struct Link {
        int index = 0;
        std::string name;
        unsigned int flags = 0;
        unsigned short hardwareType = 0;
        std::optional<MACAddress> mac;
        // The link type a virtual device was created with ("veth", "bridge", "tun"...);
        // empty for hardware.
        std::string kind;
    };

    struct Address {
        int index = 0;
        Subnet subnet;
        std::uint32_t validLifetime = foreverLifetime;
    };

    struct DefaultRoute {
        int outputIndex = 0;
        std::uint32_t metric = 0;
    };

    // The valid lifetime of an address nobody leased: set by hand or by a static setup.
    static constexpr std::uint32_t foreverLifetime = 0xFFFFFFFFu;

    static std::vector<Link> links();
    // The same list, or no value when the kernel could not be asked or its answer broke
    // off: for callers that must not mistake a failed read for a card that has gone.
    static std::optional<std::vector<Link>> tryLinks();
    static std::vector<Address> addresses();
    // IPv4 default routes of the main table, in the kernel's order.
    static std::vector<DefaultRoute> defaultRoutes();
};

} // namespace corvane
