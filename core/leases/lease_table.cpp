#include "core/leases/lease_table.hpp"

#include <algorithm>
#include <numeric>
#include <tuple>

namespace corvane {

namespace {

int displayRank(const std::optional<PresenceState>& presence) {
    if (!presence) {
        return 4;
    }
    switch (*presence) {
    case PresenceState::online:
        return 0;
    case PresenceState::conflict:
        return 1;
    case PresenceState::unknown:
        return 2;
    case PresenceState::offline:
        return 3;
    }
    return 4;
}

// Comparing the six bytes in order is the same as comparing the lower-case text form,
// because every byte prints as exactly two hexadecimal digits and '0'-'9' sort before 'a'-'f'.
bool precedesByAddress(const Lease& one, const Lease& other) {
    return std::tie(one.ip, one.mac) < std::tie(other.ip, other.mac);
}

} // namespace

LeaseTable::LeaseTable(std::vector<Lease> leases, std::vector<Quarantine> quarantine)
    : leases_(std::move(leases)), quarantine_(std::move(quarantine)) {}

std::optional<Lease> LeaseTable::lease(const MACAddress& mac) const {
    const auto found = std::ranges::find(leases_, mac, &Lease::mac);
    if (found == leases_.end()) {
        return std::nullopt;
    }
    return *found;
}

std::optional<Lease> LeaseTable::holder(IPv4Address ip, TimePoint now) const {
    const auto found = std::ranges::find_if(
        leases_, [&](const Lease& lease) { return lease.ip == ip && lease.holdsAddress(now); });
    if (found == leases_.end()) {
        return std::nullopt;
    }
    return *found;
}

bool LeaseTable::isQuarantined(IPv4Address ip, TimePoint now) const {
    return std::ranges::any_of(
        quarantine_, [&](const Quarantine& entry) { return entry.ip == ip && entry.holds(now); });
}

void LeaseTable::upsert(const Lease& lease) {
    const auto found = std::ranges::find(leases_, lease.mac, &Lease::mac);
    if (found == leases_.end()) {
        leases_.push_back(lease);
    } else {
        *found = lease;
    }
}

std::optional<Lease> LeaseTable::remove(const MACAddress& mac) {
    const auto found = std::ranges::find(leases_, mac, &Lease::mac);
    if (found == leases_.end()) {
        return std::nullopt;
    }
    auto removed = std::move(*found);
    leases_.erase(found);
    return removed;
}

void LeaseTable::addQuarantine(IPv4Address ip, TimePoint until, const MACAddress& reportedBy) {
    std::erase_if(quarantine_, [&](const Quarantine& entry) { return entry.ip == ip; });
    quarantine_.push_back(Quarantine{ip, until, reportedBy});
}

void LeaseTable::pruneQuarantine(TimePoint now) {
    std::erase_if(quarantine_, [&](const Quarantine& entry) { return !entry.holds(now); });
}

int LeaseTable::clearInactive(TimePoint now) {
    return static_cast<int>(
        std::erase_if(leases_, [&](const Lease& lease) { return !lease.holdsAddress(now); }));
}

std::vector<Lease> LeaseTable::dropOutside(const AddressRange& range) {
    std::vector<Lease> dropped;
    std::vector<Lease> kept;
    kept.reserve(leases_.size());
    for (auto& lease : leases_) {
        (range.contains(lease.ip) ? kept : dropped).push_back(std::move(lease));
    }
    leases_ = std::move(kept);
    return dropped;
}

std::vector<Lease> LeaseTable::sortedByIP() const {
    auto sorted = leases_;
    std::ranges::stable_sort(sorted, precedesByAddress);
    return sorted;
}

std::vector<Lease> LeaseTable::sortedForDisplay(const PresenceLookup& presence) const {
    // Ask for each record's presence once, then sort positions so equal records keep
    // their list order.
    std::vector<int> ranks;
    ranks.reserve(leases_.size());
    for (const auto& lease : leases_) {
        ranks.push_back(displayRank(presence(lease)));
    }
    std::vector<std::size_t> order(leases_.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, [&](std::size_t one, std::size_t other) {
        if (ranks[one] != ranks[other]) {
            return ranks[one] < ranks[other];
        }
        return precedesByAddress(leases_[one], leases_[other]);
    });
    std::vector<Lease> sorted;
    sorted.reserve(order.size());
    for (const auto position : order) {
        sorted.push_back(leases_[position]);
    }
    return sorted;
}

void to_json(nlohmann::json& document, const LeaseTable& table) {
    document = nlohmann::json::object();
    document["leases"] = table.leases();
    document["quarantine"] = table.quarantine();
}

void from_json(const nlohmann::json& document, LeaseTable& table) {
    table = LeaseTable(document.at("leases").get<std::vector<Lease>>(),
                       document.at("quarantine").get<std::vector<Quarantine>>());
}

} // namespace corvane
