#include "core/leases/free_address_index.hpp"

namespace corvane {

void FreeAddressIndex::rebuild(const AddressRange& pool, TimePoint now,
                               std::span<const Lease> leases) {
    built_ = true;
    pool_ = pool;
    size_ = static_cast<std::uint64_t>(pool.count());
    reference_ = now;
    words_.assign((size_ + 63) / 64, 0);
    expiries_ = {};
    for (const auto& lease : leases) {
        if (lease.holdsAddress(now)) {
            changed(lease, true);
        }
    }
}

void FreeAddressIndex::changed(const Lease& lease, bool held) {
    if (!built_) {
        return;
    }
    assign(lease.ip, held);
    if (lease.holdsAddress(reference_) && pool_.contains(lease.ip)) {
        expiries_.emplace(lease.expiresAt, lease.ip.value());
    }
}

void FreeAddressIndex::advance(TimePoint now, const HoldsAt& holds) {
    reference_ = now;
    while (!expiries_.empty() && expiries_.top().first <= now) {
        const IPv4Address ip(expiries_.top().second);
        expiries_.pop();
        assign(ip, holds(ip, now));
    }
}

void FreeAddressIndex::assign(IPv4Address ip, bool held) {
    if (!built_ || !pool_.contains(ip)) {
        return;
    }
    const auto offset = static_cast<std::uint64_t>(ip.value() - pool_.first.value());
    const auto bit = std::uint64_t{1} << (offset % 64);
    auto& word = words_[offset / 64];
    word = held ? (word | bit) : (word & ~bit);
}

std::uint64_t FreeAddressIndex::nextClear(std::uint64_t from) const {
    auto index = from / 64;
    if (index >= words_.size()) {
        return size_;
    }
    // Bits below `from` in its word count as held, so the search starts at `from`.
    auto word = words_[index] | ((std::uint64_t{1} << (from % 64)) - 1);
    while (word == ~std::uint64_t{0}) {
        if (++index == words_.size()) {
            return size_;
        }
        word = words_[index];
    }
    return index * 64 + static_cast<std::uint64_t>(std::countr_one(word));
}

} // namespace corvane
