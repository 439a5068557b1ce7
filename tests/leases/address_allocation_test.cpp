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

// Addresses below are the last byte of one in 192.168.2.0/24.
IPv4Address host(int lastByte) {
    return IPv4Address(192, 168, 2, static_cast<std::uint8_t>(lastByte));
}

Lease heldBy(const MACAddress& mac, int lastByte, std::int64_t secondsLeft,
             State state = State::bound, std::int64_t secondsUnseen = 0) {
    return makeLease(mac, host(lastByte), state, secondsFromNow(secondsLeft),
                     secondsFromNow(-secondsUnseen));
}

std::optional<IPv4Address> hostIfAny(std::optional<int> lastByte) {
    return lastByte ? std::optional(host(*lastByte)) : std::nullopt;
}

bool never(IPv4Address) {
    return false;
}

// The pool is .100 to `last`; usable is the pool less `unusable`.
void expectChoice(const char* rule, const std::vector<Lease>& leases, std::optional<int> requested,
                  std::optional<int> expected, int last = 110, const std::set<int>& unusable = {},
                  const std::set<int>& offline = {}) {
    const AddressRange pool{host(100), host(last)};
    const auto lastByte = [](IPv4Address ip) { return static_cast<int>(ip.bytes()[3]); };
    const AddressPredicate isUsable = [&](IPv4Address ip) {
        return pool.contains(ip) && !unusable.contains(lastByte(ip));
    };
    const AddressPredicate isOffline = [&](IPv4Address ip) {
        return offline.contains(lastByte(ip));
    };
    EXPECT_EQ(chooseAddress(client, hostIfAny(requested), leases, pool, isUsable, isOffline, now),
              hostIfAny(expected))
        << rule;
}

// The property test in allocation_property_test.cpp checks the same rules on thousands of
// random tables; these cases spell out each step once.
TEST(ChooseAddress, FollowsTheOrderOfPreference) {
    expectChoice("an empty table gives the lowest pool address", {}, std::nullopt, 100);
    expectChoice("a released own lease comes back ahead of a requested address",
                 {heldBy(client, 105, 60, State::released)}, 107, 105);
    expectChoice("only the client's first record counts as its own address",
                 {heldBy(client, 103, -3600), heldBy(other, 103, 60), heldBy(client, 104, 60)},
                 std::nullopt, 100);
    expectChoice("an own address taken by another client leaves it to the requested one",
                 {heldBy(client, 105, 0, State::released), heldBy(other, 105, 60)}, 107, 107);
    expectChoice("an own address that is no longer usable is passed over",
                 {heldBy(client, 105, 60)}, std::nullopt, 100, 110, {105});
    expectChoice("the first active record decides, so the client's own one frees the address",
                 {heldBy(third, 100, -5), heldBy(client, 100, 60), heldBy(other, 100, 60)},
                 std::nullopt, 100);
    expectChoice("an unusable requested address is passed over", {}, 104, 101, 110, {104, 100});
    expectChoice("a lease one second from expiry still blocks its address", {heldBy(other, 100, 1)},
                 std::nullopt, 101);
    expectChoice("a lease at its expiry instant no longer does", {heldBy(other, 100, 0)},
                 std::nullopt, 100);
}

TEST(ChooseAddress, ReclaimsOnlyFromAbsentHoldersWhenThePoolIsFull) {
    const std::vector full = {heldBy(other, 100, 3600, State::bound, 10),
                              heldBy(third, 101, 3600, State::bound, 10),
                              heldBy(macNumbered(3), 102, 3600, State::bound, 10)};
    auto staleHigh = full;
    staleHigh[2].lastSeen = secondsFromNow(-100);
    expectChoice("every holder present gives no address", full, std::nullopt, std::nullopt, 102);
    expectChoice("equal last-seen times reclaim the lower address", full, std::nullopt, 101, 102,
                 {}, {102, 101});
    expectChoice("the longest-unseen holder is reclaimed even at a higher address", staleHigh,
                 std::nullopt, 102, 102, {}, {101, 102});
    expectChoice("a quarantined address is never reclaimed", full, std::nullopt, std::nullopt, 102,
                 {100}, {100});
}

TEST(ChooseAddress, WalkReachesTheTopOfTheAddressSpace) {
    const AddressRange pool{address("255.255.255.254"), IPv4Address::broadcast};
    const AddressPredicate isUsable = [&](IPv4Address ip) { return pool.contains(ip); };
    const std::vector leases = {boundUntil(other, "255.255.255.254", 60)};
    EXPECT_EQ(chooseAddress(client, std::nullopt, leases, pool, isUsable, never, now),
              IPv4Address::broadcast);
}

} // namespace
} // namespace corvane
