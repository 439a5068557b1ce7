#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <unordered_map>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"

namespace corvane {

// The kernel's IPv4 neighbour table (the ARP cache): which hardware address answered for
// which address. Read over rtnetlink; entries whose resolution is pending or failed are left
// out, because they say nothing about who holds the address.
struct ARPTable {
    using Entries = std::unordered_map<IPv4Address, MACAddress>;

    ARPTable() = delete;

    // Dumps the table of the calling thread's network namespace, limited to one interface
    // when `interfaceIndex` is given. Any failure gives an empty map.
    static Entries read(std::optional<unsigned> interfaceIndex = std::nullopt);

    // Reads the entries from the raw bytes of an RTM_GETNEIGH dump. A message whose length
    // is zero, too short for a header or runs past the data ends the parse with what was
    // read so far; a later entry for the same address replaces an earlier one.
    static Entries parse(std::span<const std::uint8_t> dump,
                         std::optional<unsigned> interfaceIndex = std::nullopt);
};

} // namespace corvane
