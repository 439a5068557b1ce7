#include <set>

#include <gtest/gtest.h>

#include "core/leases/address_allocation.hpp"
#include "tests/leases/lease_fixtures.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;
using State = Lease::State;

const MACAddress client = macNumbered(0xC1);
const MACAddress other = macNumbered(0x01);
const MACAddress third = macNumbered(0x02);

Lease seenAt(Lease lease, std::int64_t secondsAgo) {
    lease.lastSeen = secondsFromNow(-secondsAgo);
    return lease;
}

struct ChoiceCase {
    const char* rule;
    std::vector<Lease> leases;
    std::optional<const char*> requested;
    std::set<std::string> unusable = {};
    std::set<std::string> offline = {};
    std::optional<const char*> expected;
    const char* first = "192.168.2.100";
    const char* last = "192.168.2.110";
    TimePoint at = now;
};

std::optional<IPv4Address> choose(const ChoiceCase& item) {
    const AddressRange pool{address(item.first), address(item.last)};
    const AddressPredicate isUsable = [&](IPv4Address ip) {
        return pool.contains(ip) && !item.unusable.contains(ip.description());
    };
    const AddressPredicate holderIsOffline = [&](IPv4Address ip) {
        return item.offline.contains(ip.description());
    };
    std::optional<IPv4Address> requested;
    if (item.requested) {
        requested = address(*item.requested);
    }
    return chooseAddress(client, requested, item.leases, pool, isUsable, holderIsOffline, item.at);
}

template <std::size_t count> void expectChoices(const ChoiceCase (&cases)[count]) {
    for (const auto& item : cases) {
        const auto chosen = choose(item);
        ASSERT_EQ(chosen.has_value(), item.expected.has_value()) << item.rule;
        if (item.expected) {
            EXPECT_EQ(*chosen, address(*item.expected)) << item.rule;
        }
    }
}

std::vector<Lease> poolTakenByOthers() {
    return {seenAt(boundUntil(other, "192.168.2.100", 3600), 10),
            seenAt(boundUntil(third, "192.168.2.101", 3600), 10),
            seenAt(boundUntil(macNumbered(3), "192.168.2.102", 3600), 10)};
}

TEST(ChooseAddress, FollowsTheOrderOfPreference) {
    const ChoiceCase cases[] = {
        {.rule = "an empty table gives the lowest pool address",
         .leases = {},
         .requested = std::nullopt,
         .expected = "192.168.2.100"},
        {.rule = "a released own lease comes back ahead of a requested address",
         .leases = {makeLease(client, address("192.168.2.105"), State::released,
                              secondsFromNow(60))},
         .requested = "192.168.2.107",
         .expected = "192.168.2.105"},
        {.rule = "an expired own lease comes back",
         .leases = {boundUntil(client, "192.168.2.103", -3600)},
         .requested = std::nullopt,
         .expected = "192.168.2.103"},
        {.rule = "only the client's first record counts as its own address",
         .leases = {boundUntil(client, "192.168.2.103", -3600),
                    boundUntil(other, "192.168.2.103", 60),
                    boundUntil(client, "192.168.2.104", 60)},
         .requested = std::nullopt,
         .expected = "192.168.2.100"},
        {.rule = "an own address taken by another client leaves it to the requested one",
         .leases = {makeLease(client, address("192.168.2.105"), State::released, now),
                    boundUntil(other, "192.168.2.105", 60)},
         .requested = "192.168.2.107",
         .expected = "192.168.2.107"},
        {.rule = "an own address that is no longer usable is passed over",
         .leases = {boundUntil(client, "192.168.2.105", 60)},
         .requested = std::nullopt,
         .unusable = {"192.168.2.105"},
         .expected = "192.168.2.100"},
        {.rule = "a requested address outside the pool is passed over",
         .leases = {},
         .requested = "192.168.2.99",
         .expected = "192.168.2.100"},
        {.rule = "a requested address that is the server's own is passed over",
         .leases = {},
         .requested = "192.168.2.104",
         .unusable = {"192.168.2.104", "192.168.2.100"},
         .expected = "192.168.2.101"},
        {.rule = "the client's own active record makes the requested address available",
         .leases = {boundUntil(other, "192.168.2.100", 60), boundUntil(client, "192.168.2.100", 60),
                    boundUntil(client, "192.168.2.104", 60)},
         .requested = "192.168.2.104",
         .expected = "192.168.2.104"},
        {.rule = "a lease expiring now no longer blocks its address",
         .leases = {boundUntil(other, "192.168.2.100", 0)},
         .requested = std::nullopt,
         .expected = "192.168.2.100"},
        {.rule = "a lease one second from expiry still blocks its address",
         .leases = {boundUntil(other, "192.168.2.100", 1)},
         .requested = std::nullopt,
         .expected = "192.168.2.101"},
        {.rule = "the first active record decides, so the client's own one frees the address",
         .leases = {boundUntil(third, "192.168.2.100", -5), boundUntil(client, "192.168.2.100", 60),
                    boundUntil(other, "192.168.2.100", 60)},
         .requested = std::nullopt,
         .expected = "192.168.2.100"},
        {.rule = "the walk reaches the very top of the address space",
         .leases = {boundUntil(other, "255.255.255.254", 60)},
         .requested = std::nullopt,
         .expected = "255.255.255.255",
         .first = "255.255.255.254",
         .last = "255.255.255.255"},
    };
    expectChoices(cases);
}

TEST(ChooseAddress, ReclaimsOnlyFromAbsentHoldersWhenThePoolIsFull) {
    const auto full = poolTakenByOthers();
    auto staleHigh = full;
    staleHigh[2] = seenAt(staleHigh[2], 100);
    auto farOutside = full;
    farOutside.push_back(seenAt(boundUntil(macNumbered(4), "192.168.2.50", 60), 9999));
    auto offer = full;
    offer[0] = makeLease(other, address("192.168.2.100"), State::offered, secondsFromNow(60));

    const ChoiceCase cases[] = {
        {.rule = "every holder present gives no address",
         .leases = full,
         .requested = std::nullopt,
         .expected = std::nullopt,
         .last = "192.168.2.102"},
        {.rule = "equal last-seen times reclaim the lower address",
         .leases = full,
         .requested = std::nullopt,
         .offline = {"192.168.2.102", "192.168.2.101"},
         .expected = "192.168.2.101",
         .last = "192.168.2.102"},
        {.rule = "the longest-unseen holder is reclaimed even at a higher address",
         .leases = staleHigh,
         .requested = std::nullopt,
         .offline = {"192.168.2.101", "192.168.2.102"},
         .expected = "192.168.2.102",
         .last = "192.168.2.102"},
        {.rule = "an unusable address is never reclaimed",
         .leases = farOutside,
         .requested = std::nullopt,
         .offline = {"192.168.2.50", "192.168.2.101"},
         .expected = "192.168.2.101",
         .last = "192.168.2.102"},
        {.rule = "a quarantined address is never reclaimed",
         .leases = full,
         .requested = std::nullopt,
         .unusable = {"192.168.2.100"},
         .offline = {"192.168.2.100"},
         .expected = std::nullopt,
         .last = "192.168.2.102"},
        {.rule = "an offer blocks its address while it runs",
         .leases = offer,
         .requested = std::nullopt,
         .expected = std::nullopt,
         .last = "192.168.2.102"},
        {.rule = "an offer frees its address once it expires",
         .leases = offer,
         .requested = std::nullopt,
         .expected = "192.168.2.100",
         .last = "192.168.2.102",
         .at = secondsFromNow(60)},
    };
    expectChoices(cases);
}

} // namespace
} // namespace corvane
