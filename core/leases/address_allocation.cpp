#include "core/leases/address_allocation.hpp"

#include <algorithm>
#include <tuple>

#include "core/leases/mac_key.hpp"

namespace corvane {

namespace {

// Step 4: an active lease of another client at a usable address whose holder has gone;
// the longest-unseen one, and on a tie the lower address.
std::optional<IPv4Address> reclaimableAddress(const MACAddress& mac, std::span<const Lease> leases,
                                              const AddressPredicate& isUsable,
                                              const AddressPredicate& holderIsOffline,
                                              TimePoint now) {
    const Lease* chosen = nullptr;
    const auto clientKey = macKey(mac);
    for (const auto& lease : leases) {
        if (macKey(lease.mac) == clientKey || !lease.holdsAddress(now)) {
            continue;
        }
        if (chosen != nullptr &&
            std::tie(chosen->lastSeen, chosen->ip) <= std::tie(lease.lastSeen, lease.ip)) {
            continue;
        }
        if (isUsable(lease.ip) && holderIsOffline(lease.ip)) {
            chosen = &lease;
        }
    }
    if (chosen == nullptr) {
        return std::nullopt;
    }
    return chosen->ip;
}

} // namespace

bool isAvailable(IPv4Address ip, const MACAddress& mac, std::span<const Lease> leases,
                 const AddressPredicate& isUsable, TimePoint now) {
    if (!isUsable(ip)) {
        return false;
    }
    const auto holder = std::ranges::find_if(
        leases, [&](const Lease& lease) { return lease.ip == ip && lease.holdsAddress(now); });
    return holder == leases.end() || holder->mac == mac;
}

std::optional<IPv4Address> chooseAddress(const MACAddress& mac,
                                         std::optional<IPv4Address> requested,
                                         const LeaseTable& table, const AddressRange& pool,
                                         const AddressPredicate& isUsable,
                                         const AddressPredicate& holderIsOffline, TimePoint now) {
    const auto available = [&](IPv4Address ip) {
        const auto holder = table.holder(ip, now);
        return (!holder || holder->mac == mac) && isUsable(ip);
    };
    const auto own = table.lease(mac);
    if (own && available(own->ip)) {
        return own->ip;
    }
    if (requested && available(*requested)) {
        return requested;
    }
    if (table.hasRepeatedClients()) {
        // A later record of the client may hold an address it could take: walk them all.
        for (std::int64_t offset = 0; offset < pool.count(); ++offset) {
            const IPv4Address candidate(pool.first.value() + static_cast<std::uint32_t>(offset));
            if (available(candidate)) {
                return candidate;
            }
        }
    } else if (const auto free = table.lowestFree(pool, now, isUsable)) {
        // With one record per client, the client's own was tried above.
        return free;
    }
    return reclaimableAddress(mac, table.leases(), isUsable, holderIsOffline, now);
}

} // namespace corvane
