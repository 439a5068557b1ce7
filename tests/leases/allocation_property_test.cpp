#include <algorithm>
#include <map>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "core/leases/address_allocation.hpp"
#include "tests/leases/lease_fixtures.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;
using State = Lease::State;

constexpr std::uint64_t seed = 0x5EED'1EA5'E5ULL;
constexpr int caseCount = 4000;

// The allocation rules transcribed literally: every availability question searches the
// whole list again, with no index and no shortcuts.
bool literallyActive(const Lease& lease, TimePoint at) {
    return (lease.state == State::offered || lease.state == State::bound) && at < lease.expiresAt;
}

bool literallyAvailable(IPv4Address ip, const MACAddress& mac, const std::vector<Lease>& leases,
                        const AddressPredicate& isUsable, TimePoint at) {
    if (!isUsable(ip)) {
        return false;
    }
    for (const auto& lease : leases) {
        if (literallyActive(lease, at) && lease.ip == ip) {
            return lease.mac == mac;
        }
    }
    return true;
}

// The address and the step (1 to 5) that decided it.
struct LiteralChoice {
    std::optional<IPv4Address> address;
    int step;
};

LiteralChoice literallyChoose(const MACAddress& mac, std::optional<IPv4Address> requested,
                              const std::vector<Lease>& leases, AddressRange pool,
                              const AddressPredicate& isUsable,
                              const AddressPredicate& holderIsOffline, TimePoint at) {
    for (const auto& lease : leases) {
        if (lease.mac == mac) {
            if (literallyAvailable(lease.ip, mac, leases, isUsable, at)) {
                return {lease.ip, 1};
            }
            break;
        }
    }
    if (requested && literallyAvailable(*requested, mac, leases, isUsable, at)) {
        return {requested, 2};
    }
    for (std::uint64_t value = pool.first.value(); value <= pool.last.value(); ++value) {
        const IPv4Address candidate(static_cast<std::uint32_t>(value));
        if (literallyAvailable(candidate, mac, leases, isUsable, at)) {
            return {candidate, 3};
        }
    }
    std::vector<Lease> absent;
    for (const auto& lease : leases) {
        if (lease.mac != mac && literallyActive(lease, at) && isUsable(lease.ip) &&
            holderIsOffline(lease.ip)) {
            absent.push_back(lease);
        }
    }
    if (absent.empty()) {
        return {std::nullopt, 5};
    }
    auto best = absent.front();
    for (const auto& lease : absent) {
        if (lease.lastSeen < best.lastSeen ||
            (lease.lastSeen == best.lastSeen && lease.ip < best.ip)) {
            best = lease;
        }
    }
    return {best.ip, 4};
}

// A random world around one small neighbourhood of addresses, so that pools are tiny or
// small, records collide on addresses, expiries fall just before, at and after `now`, and
// the client often has records of its own.
class RandomWorld {
public:
    explicit RandomWorld(std::uint64_t caseSeed) : random_(caseSeed) {
        const std::uint32_t base = address("10.0.0.0").value() + below(200);
        const std::uint32_t poolSizes[] = {1, 1, 2, 3, 4, 6, 10, 25};
        pool = {IPv4Address(base), IPv4Address(base + poolSizes[below(8)] - 1)};
        const auto count = below(20);
        for (std::uint32_t index = 0; index < count; ++index) {
            // One draw per statement, so the world does not depend on argument order.
            const auto mac = macNumbered(static_cast<std::uint8_t>(below(6)));
            const auto ip = nearbyAddress();
            const auto state = static_cast<State>(below(4));
            const auto expiresAt = secondsFromNow(static_cast<int>(below(7)) - 3);
            leases.push_back(
                makeLease(mac, ip, state, expiresAt, secondsFromNow(-static_cast<int>(below(4)))));
        }
        client = macNumbered(static_cast<std::uint8_t>(below(6)));
        if (below(2) == 0) {
            requested = nearbyAddress();
        }
        unusable = randomSubset(below(3) == 0 ? 0 : below(50));
        offline = randomSubset(below(101));
        restrictUsableToPool = below(4) != 0;
    }

    bool isUsable(IPv4Address ip) const {
        return (!restrictUsableToPool || pool.contains(ip)) && !unusable.contains(ip);
    }
    bool holderIsOffline(IPv4Address ip) const { return offline.contains(ip); }

    std::string describe() const {
        return "client " + client.description() + ", pool " + pool.first.description() + "-" +
               pool.last.description() + ", requested " +
               (requested ? requested->description() : "none") +
               ", leases: " + nlohmann::json(leases).dump();
    }

    AddressRange pool;
    std::vector<Lease> leases;
    MACAddress client;
    std::optional<IPv4Address> requested;
    std::set<IPv4Address> unusable;
    std::set<IPv4Address> offline;
    bool restrictUsableToPool = true;

private:
    std::uint32_t below(std::uint32_t bound) {
        return static_cast<std::uint32_t>(random_() % bound);
    }

    // Mostly inside the pool, sometimes just outside either end.
    IPv4Address nearbyAddress() {
        const auto span = pool.last.value() - pool.first.value() + 7;
        return IPv4Address(pool.first.value() - 3 + below(span));
    }

    std::set<IPv4Address> randomSubset(std::uint32_t percent) {
        std::set<IPv4Address> subset;
        for (auto value = pool.first.value() - 3; value <= pool.last.value() + 3; ++value) {
            if (below(100) < percent) {
                subset.insert(IPv4Address(value));
            }
        }
        return subset;
    }

    std::mt19937_64 random_;
};

TEST(ChooseAddressProperty, AgreesWithTheLiteralRulesOnRandomTables) {
    std::mt19937_64 seeds(seed);
    std::map<int, int> decidedBy;
    for (int index = 0; index < caseCount; ++index) {
        const RandomWorld world(seeds());
        const AddressPredicate isUsable = [&](IPv4Address ip) { return world.isUsable(ip); };
        const AddressPredicate holderIsOffline = [&](IPv4Address ip) {
            return world.holderIsOffline(ip);
        };
        const auto expected = literallyChoose(world.client, world.requested, world.leases,
                                              world.pool, isUsable, holderIsOffline, now);
        const LeaseTable table(world.leases, {});
        const auto chosen = chooseAddress(world.client, world.requested, table, world.pool,
                                          isUsable, holderIsOffline, now);
        ASSERT_EQ(chosen, expected.address)
            << "seed " << seed << ", case " << index << ": " << world.describe();
        ++decidedBy[expected.step];
        for (const auto& lease : world.leases) {
            ASSERT_EQ(isAvailable(lease.ip, world.client, world.leases, isUsable, now),
                      literallyAvailable(lease.ip, world.client, world.leases, isUsable, now))
                << "seed " << seed << ", case " << index << ": " << world.describe();
        }
    }
    // The generator must reach every step often, or the agreement would mean little.
    for (int step = 1; step <= 5; ++step) {
        EXPECT_GT(decidedBy[step], caseCount / 50) << "step " << step;
    }
}

// The random worlds stay far from the top of the address space; the walk must not wrap there.
TEST(ChooseAddress, WalkReachesTheTopOfTheAddressSpace) {
    const AddressRange pool{address("255.255.255.254"), IPv4Address::broadcast};
    const AddressPredicate isUsable = [&](IPv4Address ip) { return pool.contains(ip); };
    const AddressPredicate never = [](IPv4Address) { return false; };
    const std::vector leases = {boundUntil(macNumbered(1), "255.255.255.254", 60)};
    EXPECT_EQ(chooseAddress(macNumbered(0xC1), std::nullopt, LeaseTable(leases, {}), pool, isUsable,
                            never, now),
              IPv4Address::broadcast);
}

} // namespace
} // namespace corvane
