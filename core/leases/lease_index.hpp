#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <unordered_map>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"
#include "core/leases/lease.hpp"

namespace corvane {

// Where a lease table's records sit in its list, by client and by address, so that the
// questions asked for every packet ("this client's record", "who holds this address")
// cost a hash lookup instead of a walk over thousands of records. Positions only: the
// table owns the records and tells the index about every change it makes.
class LeaseIndex {
public:
    LeaseIndex() = default;
    explicit LeaseIndex(std::span<const Lease> leases) { rebuild(leases); }

    void rebuild(std::span<const Lease> leases);

    std::size_t clientCount() const { return firstByMAC_.size(); }
    // The position of the client's first record.
    std::optional<std::size_t> firstOf(const MACAddress& mac) const;
    // The lowest position among the records for `ip` that `holds`; `holds` is asked about
    // positions only, so the caller decides what holding means (it depends on the time).
    template <typename Predicate>
    std::optional<std::size_t> firstAt(IPv4Address ip, Predicate&& holds) const {
        std::optional<std::size_t> first;
        const auto [begin, end] = positionsByAddress_.equal_range(ip);
        for (auto entry = begin; entry != end; ++entry) {
            if ((!first || entry->second < *first) && holds(entry->second)) {
                first = entry->second;
            }
        }
        return first;
    }

    // A record was added at the end of the list.
    void appended(std::size_t position, const Lease& lease);
    // The record at `position` changed its address from `from` to `to`.
    void readdressed(std::size_t position, IPv4Address from, IPv4Address to);
    // `removed` was taken out of `position`; `leases` is the list as it is afterwards, where
    // every later record has moved down by one.
    void erased(std::size_t position, const Lease& removed, std::span<const Lease> leases);

private:
    std::unordered_map<std::uint64_t, std::size_t> firstByMAC_;
    std::unordered_multimap<IPv4Address, std::size_t> positionsByAddress_;
};

} // namespace corvane
