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
    : leases_(std::move(leases)), quarantine_(std::move(quarantine)), index_(leases_) {}

std::optional<Lease> LeaseTable::lease(const MACAddress& mac) const {
    if (const auto position = index_.firstOf(mac)) {
        return leases_[*position];
    }
    return std::nullopt;
}

std::optional<Lease> LeaseTable::holder(IPv4Address ip, TimePoint now) const {
    const auto position = index_.firstAt(
        ip, [&](std::size_t candidate) { return leases_[candidate].holdsAddress(now); });
    if (position) {
        return leases_[*position];
    }
    return std::nullopt;
}

bool LeaseTable::isQuarantined(IPv4Address ip, TimePoint now) const {
    return std::ranges::any_of(
        quarantine_, [&](const Quarantine& entry) { return entry.ip == ip && entry.holds(now); });
}

void LeaseTable::upsert(const Lease& lease) {
    if (const auto position = index_.firstOf(lease.mac)) {
        auto& record = leases_[*position];
        index_.readdressed(*position, record.ip, lease.ip);
        record = lease;
        return;
    }
    leases_.push_back(lease);
    index_.appended(leases_.size() - 1, leases_.back());
}

std::optional<Lease> LeaseTable::remove(const MACAddress& mac) {
    const auto position = index_.firstOf(mac);
    if (!position) {
        return std::nullopt;
    }
    const auto found = leases_.begin() + static_cast<std::ptrdiff_t>(*position);
    auto removed = std::move(*found);
    leases_.erase(found);
    index_.erased(*position, removed, leases_);
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
    const auto removed =
        std::erase_if(leases_, [&](const Lease& lease) { return !lease.holdsAddress(now); });
    if (removed > 0) {
        index_.rebuild(leases_);
    }
    return static_cast<int>(removed);
}

std::vector<Lease> LeaseTable::dropOutside(const AddressRange& range,
                                           const std::function<bool(const Lease&)>& spare) {
    std::vector<Lease> dropped;
    std::vector<Lease> kept;
    kept.reserve(leases_.size());
    for (auto& lease : leases_) {
        const bool keep = range.contains(lease.ip) || (spare && spare(lease));
        (keep ? kept : dropped).push_back(std::move(lease));
    }
    leases_ = std::move(kept);
    if (!dropped.empty()) {
        index_.rebuild(leases_);
    }
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
