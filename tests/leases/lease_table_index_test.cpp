#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "core/leases/lease_table.hpp"
#include "tests/leases/lease_fixtures.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;
using State = Lease::State;

// The table's rules read literally, over a plain list with no index: every change and
// every lookup walks the list from the front.
class LiteralTable {
public:
    explicit LiteralTable(std::vector<Lease> leases) : leases(std::move(leases)) {}

    std::vector<Lease>::iterator firstOf(const MACAddress& mac) {
        return std::ranges::find(leases, mac, &Lease::mac);
    }
    std::optional<Lease> lease(const MACAddress& mac) {
        const auto found = firstOf(mac);
        return found == leases.end() ? std::nullopt : std::optional(*found);
    }
    std::optional<Lease> holder(IPv4Address ip, TimePoint at) const {
        for (const auto& lease : leases) {
            if (lease.ip == ip && lease.holdsAddress(at)) {
                return lease;
            }
        }
        return std::nullopt;
    }
    void upsert(const Lease& lease) {
        if (const auto found = firstOf(lease.mac); found != leases.end()) {
            *found = lease;
        } else {
            leases.push_back(lease);
        }
    }
    std::optional<Lease> remove(const MACAddress& mac) {
        const auto removed = lease(mac);
        if (removed) {
            leases.erase(firstOf(mac));
        }
        return removed;
    }
    int clearInactive(TimePoint at) {
        return static_cast<int>(
            std::erase_if(leases, [&](const Lease& lease) { return !lease.holdsAddress(at); }));
    }
    std::vector<Lease> dropOutside(const AddressRange& range) {
        std::vector<Lease> dropped;
        std::ranges::copy_if(leases, std::back_inserter(dropped),
                             [&](const Lease& lease) { return !range.contains(lease.ip); });
        std::erase_if(leases, [&](const Lease& lease) { return !range.contains(lease.ip); });
        return dropped;
    }

    std::vector<Lease> makeRoom(std::size_t limit, TimePoint at) {
        if (leases.size() < limit) {
            return {};
        }
        std::vector<Lease> removed;
        std::erase_if(leases, [&](const Lease& lease) {
            const bool lapsed = lease.state == State::offered && !lease.holdsAddress(at);
            if (lapsed) {
                removed.push_back(lease);
            }
            return lapsed;
        });
        while (leases.size() >= limit) {
            auto oldest = leases.end();
            for (auto it = leases.begin(); it != leases.end(); ++it) {
                if (!it->holdsAddress(at) &&
                    (oldest == leases.end() || it->lastSeen < oldest->lastSeen)) {
                    oldest = it;
                }
            }
            if (oldest == leases.end()) {
                break;
            }
            removed.push_back(*oldest);
            leases.erase(oldest);
        }
        return removed;
    }

    std::vector<Lease> leases;
};

// Random runs of every change the table offers, over a handful of clients and addresses so
// that records collide, move between addresses, repeat a client (as a table read from
// elsewhere may) and get removed from the middle; expiries and the instants asked about fall
// just before, at and after each other. After each change the list, what the change
// returned, and every lookup must agree with the literal table, and the quarantine is left
// alone.
TEST(LeaseTableIndex, ChangesAndLookupsAgreeWithTheLiteralRulesAfterEveryChange) {
    std::mt19937_64 random(0x1DE7'7AB1EULL);
    const auto below = [&](std::uint32_t bound) {
        return static_cast<std::uint32_t>(random() % bound);
    };
    const auto randomMAC = [&] { return macNumbered(static_cast<std::uint8_t>(below(8))); };
    const auto randomAddress = [&] { return IPv4Address(address("10.0.0.1").value() + below(6)); };
    const auto randomInstant = [&] { return secondsFromNow(static_cast<int>(below(5)) - 2); };
    const auto randomLease = [&] {
        auto lease =
            makeLease(randomMAC(), randomAddress(), static_cast<State>(below(4)), randomInstant());
        lease.hostname = std::to_string(random());
        lease.lastSeen = randomInstant();
        return lease;
    };
    const std::vector quarantine{Quarantine{address("10.0.0.3"), now, macNumbered(1)}};
    for (int run = 0; run < 300; ++run) {
        std::vector<Lease> initial;
        for (auto count = below(10); count > 0; --count) {
            initial.push_back(randomLease());
        }
        LeaseTable table(initial, quarantine);
        LiteralTable literal(initial);
        for (int step = 0; step < 40; ++step) {
            SCOPED_TRACE("run " + std::to_string(run) + " step " + std::to_string(step));
            switch (below(6)) {
            case 0:
            case 1: {
                const auto lease = randomLease();
                table.upsert(lease);
                literal.upsert(lease);
                break;
            }
            case 2: {
                const auto mac = randomMAC();
                ASSERT_EQ(table.remove(mac), literal.remove(mac));
                break;
            }
            case 3: {
                const auto at = randomInstant();
                ASSERT_EQ(table.clearInactive(at), literal.clearInactive(at));
                break;
            }
            case 4: {
                const auto limit = below(8);
                const auto at = randomInstant();
                const auto removed = table.makeRoom(limit, at);
                ASSERT_EQ(removed, literal.makeRoom(limit, at));
                for (const auto& lease : removed) {
                    ASSERT_TRUE(table.changes().marked.contains(lease.mac));
                }
                break;
            }
            default: {
                const auto range = AddressRange::ordered(randomAddress(), randomAddress());
                ASSERT_EQ(table.dropOutside(range), literal.dropOutside(range));
                break;
            }
            }
            ASSERT_EQ(table, LeaseTable(literal.leases, quarantine));
            for (std::uint8_t number = 0; number < 8; ++number) {
                ASSERT_EQ(table.lease(macNumbered(number)), literal.lease(macNumbered(number)));
            }
            for (int offset = -2; offset <= 2; ++offset) {
                for (std::uint32_t host = 1; host <= 6; ++host) {
                    const IPv4Address ip(address("10.0.0.0").value() + host);
                    ASSERT_EQ(table.holder(ip, secondsFromNow(offset)),
                              literal.holder(ip, secondsFromNow(offset)));
                }
            }
            // A clock that only moves forward keeps the free-address index incremental.
            const auto at = now + std::chrono::milliseconds(100 * step);
            const AddressRange pool{address("10.0.0.1"), address("10.0.0.6")};
            const auto usable = [](IPv4Address ip) { return ip != address("10.0.0.3"); };
            std::optional<IPv4Address> lowest;
            for (auto ip = pool.first; !lowest && ip <= pool.last;
                 ip = IPv4Address(ip.value() + 1)) {
                if (usable(ip) && !literal.holder(ip, at)) {
                    lowest = ip;
                }
            }
            ASSERT_EQ(table.lowestFree(pool, at, usable), lowest);
        }
    }
}

} // namespace
} // namespace corvane
