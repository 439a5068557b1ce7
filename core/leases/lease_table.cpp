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
    return removeAt(*position);
}

Lease LeaseTable::removeAt(std::size_t position) {
    const auto found = leases_.begin() + static_cast<std::ptrdiff_t>(position);
    auto removed = std::move(*found);
    changes_.mark(removed.mac);
    leases_.erase(found);
    index_.erased(position, removed, leases_);
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

std::vector<Lease> LeaseTable::removeWhere(const std::function<bool(const Lease&)>& condition) {
    std::vector<Lease> removed;
    std::vector<Lease> kept;
    kept.reserve(leases_.size());
    for (auto& lease : leases_) {
        if (condition(lease)) {
            changes_.mark(lease.mac);
            removed.push_back(std::move(lease));
        } else {
            kept.push_back(std::move(lease));
        }
    }
    leases_ = std::move(kept);
    if (!removed.empty()) {
        index_.rebuild(leases_);
        free_.invalidate();
    }
    return removed;
}

int LeaseTable::clearInactive(TimePoint now) {
    return static_cast<int>(
        removeWhere([&](const Lease& lease) { return !lease.holdsAddress(now); }).size());
}

std::vector<Lease> LeaseTable::removeLapsedOffers(TimePoint now) {
    return removeWhere([&](const Lease& lease) {
        return lease.state == Lease::State::offered && !lease.holdsAddress(now);
    });
}

std::vector<Lease> LeaseTable::makeRoom(std::size_t limit, TimePoint now) {
    if (leases_.size() < limit) {
        return {};
    }
    auto removed = removeLapsedOffers(now);
    while (leases_.size() >= limit) {
        const auto oldest =
            std::ranges::min_element(leases_, [&](const Lease& one, const Lease& other) {
                // Records that hold their address sort last, so they are picked only when every
                // record holds one.
                return std::tuple(one.holdsAddress(now), one.lastSeen) <
                       std::tuple(other.holdsAddress(now), other.lastSeen);
            });
        if (oldest == leases_.end() || oldest->holdsAddress(now)) {
            break;
        }
        removed.push_back(removeAt(static_cast<std::size_t>(oldest - leases_.begin())));
    }
    return removed;
}

std::size_t LeaseTable::recordLimit(const AddressRange& pool) {
    constexpr std::size_t recordsPerAddress = 4;
    constexpr std::size_t smallestLimit = 1024;
    return std::max(recordsPerAddress * static_cast<std::size_t>(pool.count()), smallestLimit);
}

std::vector<Lease> LeaseTable::dropOutside(const AddressRange& range,
                                           const std::function<bool(const Lease&)>& spare) {
    return removeWhere(
        [&](const Lease& lease) { return !range.contains(lease.ip) && !(spare && spare(lease)); });
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
