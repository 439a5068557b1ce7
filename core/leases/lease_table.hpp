#pragma once

#include <functional>
#include <optional>
#include <unordered_set>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "core/address/address_range.hpp"
#include "core/leases/free_address_index.hpp"
#include "core/leases/lease.hpp"
#include "core/leases/lease_index.hpp"
#include "core/leases/quarantine.hpp"
#include "core/presence/presence_state.hpp"

namespace corvane {

// The server's whole memory of clients: lease records in insertion order and the addresses
// held back. A plain value with no clock: every question about time takes `now`. Lookups by
// client and by address go through an index kept in step with every change, so a packet
// costs the same with ten records as with ten thousand.
class LeaseTable {
public:
    using PresenceLookup = std::function<std::optional<PresenceState>(const Lease&)>;

    LeaseTable() = default;
    LeaseTable(std::vector<Lease> leases, std::vector<Quarantine> quarantine);

    const std::vector<Lease>& leases() const { return leases_; }
    const std::vector<Quarantine>& quarantine() const { return quarantine_; }

    // The first record for this client, whatever its state.
    std::optional<Lease> lease(const MACAddress& mac) const;
    // The first record in list order that holds `ip` at `now`; released, reclaimed and
    // expired records never hold, even when they come first.
    std::optional<Lease> holder(IPv4Address ip, TimePoint now) const;
    bool isQuarantined(IPv4Address ip, TimePoint now) const;
    // Only a list given whole may name a client twice; every change keeps one record each.
    bool hasRepeatedClients() const { return index_.clientCount() != leases_.size(); }
    // The lowest address of `pool` that no record holds at `now` and `usable` accepts. Kept
    // as an index between calls, so a DISCOVER costs the same at any table size.
    std::optional<IPv4Address> lowestFree(const AddressRange& pool, TimePoint now,
                                          const std::function<bool(IPv4Address)>& usable) const;

    // Replaces the client's first record in place, or appends a new client at the end.
    void upsert(const Lease& lease);
    std::optional<Lease> remove(const MACAddress& mac);
    // A repeated report replaces the earlier hold and moves it to the end.
    void addQuarantine(IPv4Address ip, TimePoint until, const MACAddress& reportedBy);
    void pruneQuarantine(TimePoint now);
    // Removes every record that does not hold its address at `now`; returns how many.
    int clearInactive(TimePoint now);
    // Removes the offers whose hold has ended at `now`, returned in their old order: nobody
    // took them, and a flood of passing clients would otherwise keep every one.
    std::vector<Lease> removeLapsedOffers(TimePoint now);
    // Keeps the table below `limit` records so that one more fits: lapsed offers go first,
    // then the least recently seen records that hold nothing. A record that holds its address
    // is never removed, so the table may stay full. Returns what went, in removal order.
    std::vector<Lease> makeRoom(std::size_t limit, TimePoint now);
    // The most records a table serving `pool` keeps: room for every address several times
    // over, so that only a flood of strangers ever reaches it.
    static std::size_t recordLimit(const AddressRange& pool);
    // Removes the records whose address lies outside `range`, returned in their old order;
    // records that `spare` accepts stay wherever their address lies.
    std::vector<Lease> dropOutside(const AddressRange& range,
                                   const std::function<bool(const Lease&)>& spare = {});

    // Stable sorts into new lists; the table keeps its own order.
    std::vector<Lease> sortedByIP() const;
    // Online first, then conflicts, unknown, offline and records without presence; within
    // each group by address, then by hardware address.
    std::vector<Lease> sortedForDisplay(const PresenceLookup& presence) const;

    // The clients whose record changed or went, and whether the quarantine changed, since the
    // last `takeChanges`: what the lease journal must write. Every change above marks it.
    struct Changes {
        // In the order of each client's first change, so that replaying appends new clients
        // in the order the table did.
        std::vector<MACAddress> macs;
        std::unordered_set<MACAddress> marked;
        bool quarantine = false;

        void mark(const MACAddress& mac) {
            if (marked.insert(mac).second) {
                macs.push_back(mac);
            }
        }
        bool empty() const { return macs.empty() && !quarantine; }
    };
    const Changes& changes() const { return changes_; }
    Changes takeChanges() { return std::exchange(changes_, Changes{}); }

    // The index and the change marks only mirror the records, so they take no part in
    // comparing.
    friend bool operator==(const LeaseTable& one, const LeaseTable& other) {
        return one.leases_ == other.leases_ && one.quarantine_ == other.quarantine_;
    }

private:
    std::vector<Lease> leases_;
    std::vector<Quarantine> quarantine_;
    void addressChanged(const Lease& lease);
    void addressReleased(IPv4Address ip);
    Lease removeAt(std::size_t position);
    std::vector<Lease> removeWhere(const std::function<bool(const Lease&)>& condition);

    LeaseIndex index_;
    // Built on the first question, then kept in step; a question about an earlier time or
    // another pool rebuilds it.
    mutable FreeAddressIndex free_;
    Changes changes_;
};

void to_json(nlohmann::json& document, const LeaseTable& table);
void from_json(const nlohmann::json& document, LeaseTable& table);

} // namespace corvane
