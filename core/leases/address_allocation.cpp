#include "core/leases/address_allocation.hpp"

#include <algorithm>
#include <tuple>

#include "core/leases/active_holder_index.hpp"
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
                                         std::span<const Lease> leases, const AddressRange& pool,
                                         const AddressPredicate& isUsable,
                                         const AddressPredicate& holderIsOffline, TimePoint now) {
    const ActiveHolderIndex holders(mac, leases, pool, now);
    const auto available = [&](IPv4Address ip) {
        return !holders.isHeldByAnotherClient(ip) && isUsable(ip);
    };

    const auto* own = holders.clientFirstLease();
    if (own != nullptr && available(own->ip)) {
        return own->ip;
    }
    if (requested && available(*requested)) {
        return requested;
    }
    for (std::int64_t offset = 0; offset < pool.count(); ++offset) {
        const IPv4Address candidate(pool.first.value() + static_cast<std::uint32_t>(offset));
        if (available(candidate)) {
            return candidate;
        }
    }
    return reclaimableAddress(mac, leases, isUsable, holderIsOffline, now);
}

} // namespace corvane
