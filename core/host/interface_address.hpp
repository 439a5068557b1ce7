#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "core/address/subnet.hpp"

namespace corvane {

// One IPv4 address of an interface, as the kernel's address list reports it.
struct InterfaceAddress {
    std::string name;
    Subnet subnet;
    bool isPointToPoint = false;

    friend bool operator==(const InterfaceAddress&, const InterfaceAddress&) = default;
};

} // namespace corvane

template <> struct std::hash<corvane::InterfaceAddress> {
    std::size_t operator()(const corvane::InterfaceAddress& entry) const noexcept {
        const auto folded = std::hash<std::string>{}(entry.name) * 31 +
                            std::hash<corvane::IPv4Address>{}(entry.subnet.address);
        return folded * 31 + static_cast<std::size_t>(entry.subnet.prefixLength) * 2 +
               (entry.isPointToPoint ? 1 : 0);
    }
};
