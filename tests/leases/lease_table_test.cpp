#include <map>

#include <gtest/gtest.h>

#include "core/leases/lease_table.hpp"
#include "tests/leases/lease_fixtures.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;
using State = Lease::State;

// Which records hold their address is checked against the literal rules in
// allocation_property_test.cpp; expiry alone ignores the state.
TEST(LeaseTime, ExpiresAtItsExpiryInstantWhateverItsState) {
    const std::tuple<State, std::int64_t, bool> cases[] = {
        {State::offered, 1, false},
        {State::bound, 0, true},
        {State::released, -1, true},
        {State::reclaimed, 3600, false},
    };
    for (const auto& [state, expiresIn, expired] : cases) {
        const auto lease =
            makeLease(macNumbered(1), address("10.0.0.5"), state, secondsFromNow(expiresIn));
        EXPECT_EQ(lease.isExpired(now), expired) << leaseStateName(state) << " " << expiresIn;
    }
}

TEST(LeaseTableQuarantine, HoldEndsAtItsUntilInstantAndARepeatedReportMovesToTheEnd) {
    const auto held = [](const char* ip, std::int64_t seconds, std::uint8_t reporter) {
        return Quarantine{address(ip), secondsFromNow(seconds), macNumbered(reporter)};
    };
    // Two entries for .7, as a hand-edited file could hold.
    LeaseTable table({}, {held("10.0.0.6", 0, 1), held("10.0.0.7", 10, 1), held("10.0.0.8", 1, 1),
                          held("10.0.0.9", -1, 1), held("10.0.0.7", 30, 2)});
    EXPECT_FALSE(table.isQuarantined(address("10.0.0.6"), now));
    EXPECT_TRUE(table.isQuarantined(address("10.0.0.8"), now));
    EXPECT_FALSE(table.isQuarantined(address("10.0.0.9"), now));
    EXPECT_FALSE(table.isQuarantined(address("10.0.0.10"), now));
    table.addQuarantine(address("10.0.0.7"), secondsFromNow(600), macNumbered(3));
    table.pruneQuarantine(now);
    EXPECT_EQ(table.quarantine(), (std::vector{held("10.0.0.8", 1, 1), held("10.0.0.7", 600, 3)}));
}

TEST(LeaseTableQuarantine, ABoundedListGivesUpItsOldestHoldsFirst) {
    LeaseTable table;
    const auto overflow = Quarantine::maxEntries + 3;
    for (std::uint32_t offset = 0; offset < overflow; ++offset) {
        table.addQuarantine(IPv4Address(0x0A000000 + offset), secondsFromNow(600), macNumbered(1));
    }
    ASSERT_EQ(table.quarantine().size(), Quarantine::maxEntries);
    EXPECT_FALSE(table.isQuarantined(IPv4Address(0x0A000002), now));
    EXPECT_TRUE(table.isQuarantined(IPv4Address(0x0A000003), now));
    EXPECT_EQ(table.quarantine().back().ip, IPv4Address(0x0A000000 + overflow - 1));
}

TEST(LeaseTableSorting, ForDisplayRanksPresenceBeforeAddress) {
    // Each record's presence is the first word of its name.
    const std::map<std::string, std::optional<PresenceState>> presenceNamed = {
        {"online", PresenceState::online},
        {"conflict", PresenceState::conflict},
        {"unknown", PresenceState::unknown},
        {"offline", PresenceState::offline},
        {"none", std::nullopt},
    };
    const LeaseTable table(
        {
            named(boundUntil(macNumbered(1), "10.0.0.5", 60), "conflict .5"),
            named(boundUntil(macNumbered(2), "10.0.0.50", 60), "online .50"),
            named(boundUntil(macNumbered(3), "10.0.0.1", 60), "none .1"),
            named(boundUntil(macNumbered(4), "10.0.0.2", 60), "offline .2"),
            named(boundUntil(macNumbered(5), "10.0.0.3", 60), "unknown .3"),
            named(boundUntil(macNumbered(2), "10.0.0.50", 60), "online .50 again"),
            named(boundUntil(macNumbered(9), "10.0.0.7", 60), "online .7"),
            named(boundUntil(macNumbered(1), "10.0.0.50", 60), "online .50, lower mac"),
        },
        {});
    const auto sorted = table.sortedForDisplay([&](const Lease& lease) {
        return presenceNamed.at(lease.hostname->substr(0, lease.hostname->find(' ')));
    });
    EXPECT_EQ(hostnamesOf(sorted),
              (std::vector<std::string>{"online .7", "online .50, lower mac", "online .50",
                                        "online .50 again", "conflict .5", "unknown .3",
                                        "offline .2", "none .1"}));
}

} // namespace
} // namespace corvane
