#pragma once

#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

#include "core/address/address_range.hpp"
#include "core/leases/lease.hpp"

namespace corvane {

// Answers, for any address, who holds it by the allocation rule "the first active lease for
// an address decides": nobody, the client being served, or another client; and which record
// is the client's first. Built in one pass once per choice, so that walking a pool costs one
// lookup per candidate instead of a list search.
// The low end of the pool, where the walk starts, is kept in a flat array; everything else
// (the rest of a very wide pool, addresses outside it) in a hash map.
class ActiveHolderIndex {
public:
    enum class Holder : std::uint8_t { nobody, client, anotherClient };

    static constexpr std::int64_t defaultDenseSpan = std::int64_t{1} << 20;

    ActiveHolderIndex(const MACAddress& client, std::span<const Lease> leases,
                      const AddressRange& pool, TimePoint now,
                      std::int64_t denseSpan = defaultDenseSpan);

    Holder holderOf(IPv4Address ip) const {
        const auto offset = static_cast<std::uint64_t>(ip.value()) - denseFirst_;
        if (ip.value() >= denseFirst_ && offset < dense_.size()) {
            return dense_[offset];
        }
        return sparseHolderOf(ip);
    }
    bool isHeldByAnotherClient(IPv4Address ip) const {
        return holderOf(ip) == Holder::anotherClient;
    }
    // The client's first record whatever its state, or null; it points into the list given.
    const Lease* clientFirstLease() const { return clientFirstLease_; }

private:
    Holder sparseHolderOf(IPv4Address ip) const;
    Holder* denseSlot(IPv4Address ip);

    std::uint32_t denseFirst_ = 0;
    std::vector<Holder> dense_;
    std::unordered_map<IPv4Address, Holder> sparse_;
    const Lease* clientFirstLease_ = nullptr;
};

} // namespace corvane
