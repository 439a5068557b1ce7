#include "core/leases/active_holder_index.hpp"

#include <algorithm>

#include "core/leases/mac_key.hpp"

namespace corvane {

ActiveHolderIndex::ActiveHolderIndex(const MACAddress& client, std::span<const Lease> leases,
                                     const AddressRange& pool, TimePoint now,
                                     std::int64_t denseSpan)
    : denseFirst_(pool.first.value()),
      dense_(static_cast<std::size_t>(std::clamp<std::int64_t>(pool.count(), 0, denseSpan)),
             Holder::nobody) {
    const auto clientKey = macKey(client);
    for (const auto& lease : leases) {
        const bool isClients = macKey(lease.mac) == clientKey;
        if (isClients && clientFirstLease_ == nullptr) {
            clientFirstLease_ = &lease;
        }
        if (!lease.holdsAddress(now)) {
            continue;
        }
        const auto holder = isClients ? Holder::client : Holder::anotherClient;
        if (auto* slot = denseSlot(lease.ip)) {
            if (*slot == Holder::nobody) {
                *slot = holder;
            }
        } else {
            sparse_.try_emplace(lease.ip, holder);
        }
    }
}

ActiveHolderIndex::Holder ActiveHolderIndex::sparseHolderOf(IPv4Address ip) const {
    const auto found = sparse_.find(ip);
    return found == sparse_.end() ? Holder::nobody : found->second;
}

ActiveHolderIndex::Holder* ActiveHolderIndex::denseSlot(IPv4Address ip) {
    const auto offset = static_cast<std::uint64_t>(ip.value()) - denseFirst_;
    if (ip.value() >= denseFirst_ && offset < dense_.size()) {
        return &dense_[offset];
    }
    return nullptr;
}

} // namespace corvane
