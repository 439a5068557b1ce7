#pragma once

#include <cstdint>

#include "core/address/ipv4_address.hpp"

namespace corvane {

// A closed range of addresses, both ends included; `first` must not exceed `last`.
struct AddressRange {
    IPv4Address first;
    IPv4Address last;

    // The range from the smaller to the larger of two ends, whatever order they come in.
    static constexpr AddressRange ordered(IPv4Address one, IPv4Address other) {
        return one <= other ? AddressRange{one, other} : AddressRange{other, one};
    }

    constexpr bool contains(IPv4Address address) const {
        return first <= address && address <= last;
    }
    constexpr std::int64_t count() const {
        return static_cast<std::int64_t>(last.value()) - first.value() + 1;
    }

    friend constexpr bool operator==(const AddressRange&, const AddressRange&) = default;
};

} // namespace corvane
