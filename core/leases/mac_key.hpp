#pragma once

#include <cstdint>
#include <cstring>

#include "core/address/mac_address.hpp"

namespace corvane {

// The six bytes folded into one number, for loops over many leases: comparing two keys is
// one instruction, where comparing the byte arrays costs a library call each time.
inline std::uint64_t macKey(const MACAddress& mac) {
    // Two loads joined by a shift: copying six bytes into an eight-byte variable and reading
    // it back would stall on store forwarding in every iteration.
    std::uint32_t head = 0;
    std::uint16_t tail = 0;
    std::memcpy(&head, mac.bytes().data(), sizeof head);
    std::memcpy(&tail, mac.bytes().data() + sizeof head, sizeof tail);
    return static_cast<std::uint64_t>(tail) << 32 | head;
}

} // namespace corvane
