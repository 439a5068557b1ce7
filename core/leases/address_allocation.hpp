#pragma once

#include <functional>
#include <optional>
#include <span>

#include "core/address/address_range.hpp"
#include "core/leases/lease.hpp"
#include "core/leases/lease_table.hpp"

namespace corvane {

using AddressPredicate = std::function<bool(IPv4Address)>;

// Whether `ip` may go to `mac` now: it must be usable, and the first active lease for it
// (if any) must be the client's own. Expired, released and reclaimed records never block.
bool isAvailable(IPv4Address ip, const MACAddress& mac, std::span<const Lease> leases,
                 const AddressPredicate& isUsable, TimePoint now);

// The address to offer `mac`, by preference: the address of its first record, the requested
// one, the lowest available one of `pool`, then the address of the longest-unseen other
// client whose holder is offline (ties to the lower address). No value when the pool is
// exhausted. The predicates must be pure: they may be asked in any order.
std::optional<IPv4Address> chooseAddress(const MACAddress& mac,
                                         std::optional<IPv4Address> requested,
                                         const LeaseTable& table, const AddressRange& pool,
                                         const AddressPredicate& isUsable,
                                         const AddressPredicate& holderIsOffline, TimePoint now);

} // namespace corvane
