#include "core/leases/lease_index.hpp"

#include "core/leases/mac_key.hpp"

namespace corvane {

void LeaseIndex::rebuild(std::span<const Lease> leases) {
    firstByMAC_.clear();
    positionsByAddress_.clear();
    firstByMAC_.reserve(leases.size());
    positionsByAddress_.reserve(leases.size());
    for (std::size_t position = 0; position < leases.size(); ++position) {
        appended(position, leases[position]);
    }
}

std::optional<std::size_t> LeaseIndex::firstOf(const MACAddress& mac) const {
    const auto found = firstByMAC_.find(macKey(mac));
    if (found == firstByMAC_.end()) {
        return std::nullopt;
    }
    return found->second;
}

void LeaseIndex::appended(std::size_t position, const Lease& lease) {
    // A later record of the same client never becomes its first.
    firstByMAC_.try_emplace(macKey(lease.mac), position);
    positionsByAddress_.emplace(lease.ip, position);
}

void LeaseIndex::readdressed(std::size_t position, IPv4Address from, IPv4Address to) {
    if (from == to) {
        return;
    }
    const auto [begin, end] = positionsByAddress_.equal_range(from);
    for (auto entry = begin; entry != end; ++entry) {
        if (entry->second == position) {
            positionsByAddress_.erase(entry);
            break;
        }
    }
    positionsByAddress_.emplace(to, position);
}

void LeaseIndex::erased(std::size_t position, const Lease& removed, std::span<const Lease> leases) {
    const auto key = macKey(removed.mac);
    if (const auto first = firstByMAC_.find(key);
        first != firstByMAC_.end() && first->second == position) {
        firstByMAC_.erase(first);
    }
    const auto [begin, end] = positionsByAddress_.equal_range(removed.ip);
    for (auto entry = begin; entry != end; ++entry) {
        if (entry->second == position) {
            positionsByAddress_.erase(entry);
            break;
        }
    }
    if (position == leases.size()) {
        return;
    }
    // Shifting the positions in place costs one pass and no allocation, where building the
    // maps again would allocate a node per record.
    for (auto& entry : firstByMAC_) {
        entry.second -= entry.second > position ? 1 : 0;
    }
    for (auto& entry : positionsByAddress_) {
        entry.second -= entry.second > position ? 1 : 0;
    }
    // A table read from elsewhere may hold a second record for the same client; that one is
    // its first now.
    for (auto later = position; later < leases.size(); ++later) {
        if (macKey(leases[later].mac) == key) {
            firstByMAC_.try_emplace(key, later);
            break;
        }
    }
}

} // namespace corvane
