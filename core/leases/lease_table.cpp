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

std::optional<IPv4Address>
LeaseTable::lowestFree(const AddressRange& pool, TimePoint now,
                       const std::function<bool(IPv4Address)>& usable) const {
    if (!free_.covers(pool) || now < free_.referenceTime()) {
        free_.rebuild(pool, now, leases_);
    } else {
        free_.advance(now,
                      [this](IPv4Address ip, TimePoint at) { return holder(ip, at).has_value(); });
    }
    return free_.lowestFree(usable);
}

void LeaseTable::addressChanged(const Lease& lease) {
    if (!free_.isBuilt()) {
        return;
    }
    // Every change queues its expiry; a queue far longer than the table is mostly stale.
    if (free_.pendingExpiries() > 4 * leases_.size() + 4096) {
        free_.invalidate();
        return;
    }
    free_.changed(lease, holder(lease.ip, free_.referenceTime()).has_value());
}

void LeaseTable::addressReleased(IPv4Address ip) {
    if (free_.isBuilt()) {
        free_.released(ip, holder(ip, free_.referenceTime()).has_value());
    }
}

void LeaseTable::upsert(const Lease& lease) {
    changes_.mark(lease.mac);
    if (const auto position = index_.firstOf(lease.mac)) {
        auto& record = leases_[*position];
        const auto previous = record.ip;
        index_.readdressed(*position, record.ip, lease.ip);
        record = lease;
        if (previous != lease.ip) {
            addressReleased(previous);
        }
        addressChanged(lease);
        return;
    }
    leases_.push_back(lease);
    index_.appended(leases_.size() - 1, leases_.back());
    addressChanged(lease);
}

std::optional<Lease> LeaseTable::remove(const MACAddress& mac) {
    const auto position = index_.firstOf(mac);
    if (!position) {
        return std::nullopt;
    }
    const auto found = leases_.begin() + static_cast<std::ptrdiff_t>(*position);
    auto removed = std::move(*found);
    changes_.mark(removed.mac);
    leases_.erase(found);
    index_.erased(*position, removed, leases_);
    addressReleased(removed.ip);
    return removed;
}

void LeaseTable::addQuarantine(IPv4Address ip, TimePoint until, const MACAddress& reportedBy) {
    std::erase_if(quarantine_, [&](const Quarantine& entry) { return entry.ip == ip; });
    changes_.quarantine = true;
    quarantine_.push_back(Quarantine{ip, until, reportedBy});
    if (quarantine_.size() > Quarantine::maxEntries) {
        quarantine_.erase(quarantine_.begin(),
                          quarantine_.end() - static_cast<std::ptrdiff_t>(Quarantine::maxEntries));
    }
}

void LeaseTable::pruneQuarantine(TimePoint now) {
    if (std::erase_if(quarantine_, [&](const Quarantine& entry) { return !entry.holds(now); }) >
        0) {
        changes_.quarantine = true;
    }
}

int LeaseTable::clearInactive(TimePoint now) {
    const auto removed = std::erase_if(leases_, [&](const Lease& lease) {
        if (lease.holdsAddress(now)) {
            return false;
        }
        changes_.mark(lease.mac);
        return true;
    });
    if (removed > 0) {
        index_.rebuild(leases_);
        free_.invalidate();
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
        if (!keep) {
            changes_.mark(lease.mac);
        }
        (keep ? kept : dropped).push_back(std::move(lease));
    }
    leases_ = std::move(kept);
    if (!dropped.empty()) {
        index_.rebuild(leases_);
        free_.invalidate();
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
