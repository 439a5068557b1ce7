#pragma once

#include <cstdint>

#include "core/address/ipv4_address.hpp"

namespace corvane {

// One option as it stood on the wire. `data` holds at most 255 bytes, the most a one-byte
// length can say; the packet refuses to build anything longer.
struct DHCPOptionField {
    std::uint8_t code = 0;
    Bytes data;

    friend bool operator==(const DHCPOptionField&, const DHCPOptionField&) = default;
};

} // namespace corvane
