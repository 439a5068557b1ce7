#pragma once

#include <bit>
#include <cstdint>
#include <functional>
#include <optional>
#include <queue>
#include <span>
#include <utility>
#include <vector>

#include "core/address/address_range.hpp"
#include "core/leases/lease.hpp"

namespace corvane {

// Which addresses of a pool some record holds, one bit each, as of a reference time that
// only moves forward: records that expire are cleared as time passes them, so "the lowest
// address nobody holds" costs a scan of machine words rather than a lookup per address.
// Kept in step by the lease table; it asks the table who holds an address when one changes.
class FreeAddressIndex {
public:
    using HoldsAt = std::function<bool(IPv4Address, TimePoint)>;

    bool covers(const AddressRange& pool) const { return built_ && pool == pool_; }
    TimePoint referenceTime() const { return reference_; }
    bool isBuilt() const { return built_; }
    std::size_t pendingExpiries() const { return expiries_.size(); }
    void invalidate() { built_ = false; }

    void rebuild(const AddressRange& pool, TimePoint now, std::span<const Lease> leases);
    // The record for `lease.ip` changed; `held` is whether anyone holds that address at the
    // reference time.
    void changed(const Lease& lease, bool held);
    void released(IPv4Address ip, bool held) { assign(ip, held); }
    // Moves the reference time to `now`, clearing the addresses whose holders expired.
    void advance(TimePoint now, const HoldsAt& holds);
    // The lowest address of the pool no record holds and `usable` accepts.
    template <typename Usable> std::optional<IPv4Address> lowestFree(Usable&& usable) const {
        for (std::uint64_t offset = 0; offset < size_; ++offset) {
            offset = nextClear(offset);
            if (offset >= size_) {
                break;
            }
            const IPv4Address candidate(pool_.first.value() + static_cast<std::uint32_t>(offset));
            if (usable(candidate)) {
                return candidate;
            }
        }
        return std::nullopt;
    }

private:
    using Expiry = std::pair<TimePoint, std::uint32_t>;

    void assign(IPv4Address ip, bool held);
    std::uint64_t nextClear(std::uint64_t from) const;

    bool built_ = false;
    AddressRange pool_{};
    std::uint64_t size_ = 0;
    TimePoint reference_{};
    std::vector<std::uint64_t> words_;
    std::priority_queue<Expiry, std::vector<Expiry>, std::greater<>> expiries_;
};

} // namespace corvane
