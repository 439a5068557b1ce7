#include <gtest/gtest.h>

#include "core/leases/lease_table.hpp"
#include "tests/leases/lease_fixtures.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;
using State = Lease::State;

std::vector<IPv4Address> addressesOf(const std::vector<Lease>& leases) {
    std::vector<IPv4Address> addresses;
    for (const auto& lease : leases) {
        addresses.push_back(lease.ip);
    }
    return addresses;
}

std::vector<std::string> hostnamesOf(const std::vector<Lease>& leases) {
    std::vector<std::string> names;
    for (const auto& lease : leases) {
        names.push_back(lease.hostname.value_or("-"));
    }
    return names;
}

Lease named(Lease lease, std::string hostname) {
    lease.hostname = std::move(hostname);
    return lease;
}

TEST(LeaseTime, OnlyOfferedAndBoundHoldAndOnlyBeforeTheExpiryInstant) {
    struct Case {
        const char* rule;
        State state;
        std::int64_t expiresIn;
        bool expired;
        bool holds;
    };
    const Case cases[] = {
        {"bound, one second left", State::bound, 1, false, true},
        {"offered, one second left", State::offered, 1, false, true},
        {"bound at its expiry instant", State::bound, 0, true, false},
        {"offered at its expiry instant", State::offered, 0, true, false},
        {"bound after expiry", State::bound, -1, true, false},
        {"released with time left", State::released, 3600, false, false},
        {"reclaimed with time left", State::reclaimed, 3600, false, false},
    };
    for (const auto& item : cases) {
        const auto lease = makeLease(macNumbered(1), address("10.0.0.5"), item.state,
                                     secondsFromNow(item.expiresIn));
        EXPECT_EQ(lease.isExpired(now), item.expired) << item.rule;
        EXPECT_EQ(lease.holdsAddress(now), item.holds) << item.rule;
    }
}

TEST(LeaseTableLookup, HolderIsTheFirstRecordThatStillHoldsTheAddress) {
    const LeaseTable table(
        {
            named(boundUntil(macNumbered(1), "10.0.0.5", -60), "stale bound"),
            named(makeLease(macNumbered(2), address("10.0.0.5"), State::released,
                            secondsFromNow(3600)),
                  "released"),
            named(
                makeLease(macNumbered(3), address("10.0.0.5"), State::offered, secondsFromNow(60)),
                "fresh offer"),
            named(boundUntil(macNumbered(4), "10.0.0.5", 3600), "later bound"),
        },
        {});
    ASSERT_TRUE(table.holder(address("10.0.0.5"), now));
    EXPECT_EQ(table.holder(address("10.0.0.5"), now)->hostname, "fresh offer");
    EXPECT_EQ(table.holder(address("10.0.0.5"), secondsFromNow(60))->hostname, "later bound");
    EXPECT_FALSE(table.holder(address("10.0.0.5"), secondsFromNow(3600)));
    EXPECT_FALSE(table.holder(address("10.0.0.6"), now));
}

TEST(LeaseTableLookup, LeaseForAClientIsItsFirstRecordWhateverItsState) {
    const LeaseTable table(
        {named(makeLease(macNumbered(1), address("10.0.0.5"), State::released, secondsFromNow(-10)),
               "first"),
         named(boundUntil(macNumbered(1), "10.0.0.6", 60), "second")},
        {});
    EXPECT_EQ(table.lease(macNumbered(1))->hostname, "first");
    EXPECT_FALSE(table.lease(macNumbered(2)));
}

TEST(LeaseTableChanges, UpsertReplacesInPlaceAndAppendsNewClients) {
    LeaseTable table({boundUntil(macNumbered(1), "10.0.0.1", 60),
                      boundUntil(macNumbered(2), "10.0.0.2", 60),
                      boundUntil(macNumbered(3), "10.0.0.3", 60)},
                     {});
    table.upsert(boundUntil(macNumbered(2), "10.0.0.22", 600));
    table.upsert(boundUntil(macNumbered(4), "10.0.0.4", 60));
    EXPECT_EQ(addressesOf(table.leases()), (std::vector{address("10.0.0.1"), address("10.0.0.22"),
                                                        address("10.0.0.3"), address("10.0.0.4")}));
    EXPECT_EQ(table.leases()[1].expiresAt, secondsFromNow(600));
}

TEST(LeaseTableChanges, UpsertOfADuplicatedClientReplacesOnlyItsFirstRecord) {
    LeaseTable table({named(boundUntil(macNumbered(1), "10.0.0.1", 60), "a"),
                      named(boundUntil(macNumbered(1), "10.0.0.2", 60), "b")},
                     {});
    table.upsert(named(boundUntil(macNumbered(1), "10.0.0.3", 60), "c"));
    EXPECT_EQ(hostnamesOf(table.leases()), (std::vector<std::string>{"c", "b"}));
}

TEST(LeaseTableChanges, RemoveTakesTheFirstRecordOfTheClientOut) {
    LeaseTable table({named(boundUntil(macNumbered(1), "10.0.0.1", 60), "one"),
                      named(boundUntil(macNumbered(2), "10.0.0.2", 60), "two"),
                      named(boundUntil(macNumbered(1), "10.0.0.3", 60), "one again"),
                      named(boundUntil(macNumbered(3), "10.0.0.4", 60), "three")},
                     {});
    const auto removed = table.remove(macNumbered(1));
    ASSERT_TRUE(removed);
    EXPECT_EQ(removed->hostname, "one");
    EXPECT_EQ(hostnamesOf(table.leases()), (std::vector<std::string>{"two", "one again", "three"}));

    const auto unchanged = table;
    EXPECT_FALSE(table.remove(macNumbered(9)));
    EXPECT_EQ(table, unchanged);
}

TEST(LeaseTableQuarantine, HoldEndsAtItsUntilInstant) {
    LeaseTable table({}, {Quarantine{address("10.0.0.7"), now, macNumbered(1)},
                          Quarantine{address("10.0.0.8"), secondsFromNow(1), macNumbered(1)},
                          Quarantine{address("10.0.0.9"), secondsFromNow(-1), macNumbered(1)},
                          Quarantine{address("10.0.0.10"), secondsFromNow(600), macNumbered(2)}});
    EXPECT_FALSE(table.isQuarantined(address("10.0.0.7"), now));
    EXPECT_TRUE(table.isQuarantined(address("10.0.0.8"), now));
    EXPECT_FALSE(table.isQuarantined(address("10.0.0.9"), now));
    EXPECT_FALSE(table.isQuarantined(address("10.0.0.11"), now));

    table.pruneQuarantine(now);
    EXPECT_EQ(table.quarantine(),
              (std::vector{Quarantine{address("10.0.0.8"), secondsFromNow(1), macNumbered(1)},
                           Quarantine{address("10.0.0.10"), secondsFromNow(600), macNumbered(2)}}));
}

TEST(LeaseTableQuarantine, RepeatedReportLeavesOneEntryAtTheEnd) {
    // Built with two entries for .7, as a hand-edited file could hold.
    LeaseTable table({}, {Quarantine{address("10.0.0.7"), secondsFromNow(10), macNumbered(1)},
                          Quarantine{address("10.0.0.8"), secondsFromNow(20), macNumbered(2)},
                          Quarantine{address("10.0.0.7"), secondsFromNow(30), macNumbered(3)}});
    table.addQuarantine(address("10.0.0.7"), secondsFromNow(600), macNumbered(4));
    EXPECT_EQ(table.quarantine(),
              (std::vector{Quarantine{address("10.0.0.8"), secondsFromNow(20), macNumbered(2)},
                           Quarantine{address("10.0.0.7"), secondsFromNow(600), macNumbered(4)}}));
}

TEST(LeaseTableCleanUp, ClearInactiveKeepsOnlyHoldersInOrder) {
    const std::vector quarantine{
        Quarantine{address("10.0.0.9"), secondsFromNow(-5), macNumbered(1)}};
    LeaseTable table(
        {
            named(boundUntil(macNumbered(1), "10.0.0.1", 60), "current"),
            named(
                makeLease(macNumbered(2), address("10.0.0.2"), State::released, secondsFromNow(60)),
                "released"),
            named(boundUntil(macNumbered(3), "10.0.0.3", 0), "expired now"),
            named(makeLease(macNumbered(4), address("10.0.0.4"), State::offered, secondsFromNow(1)),
                  "offer"),
        },
        quarantine);
    EXPECT_EQ(table.clearInactive(now), 2);
    EXPECT_EQ(hostnamesOf(table.leases()), (std::vector<std::string>{"current", "offer"}));
    EXPECT_EQ(table.quarantine(), quarantine);
    EXPECT_EQ(table.clearInactive(now), 0);
}

TEST(LeaseTableCleanUp, DropOutsideKeepsBothEndsOfTheRange) {
    const std::vector quarantine{
        Quarantine{address("10.0.0.50"), secondsFromNow(5), macNumbered(1)}};
    LeaseTable table(
        {boundUntil(macNumbered(1), "10.0.0.21", 60), boundUntil(macNumbered(2), "10.0.0.10", 60),
         boundUntil(macNumbered(3), "10.0.0.9", 60), boundUntil(macNumbered(4), "10.0.0.20", 60),
         boundUntil(macNumbered(5), "9.255.255.255", 60)},
        quarantine);
    const auto dropped = table.dropOutside({address("10.0.0.10"), address("10.0.0.20")});
    EXPECT_EQ(addressesOf(dropped),
              (std::vector{address("10.0.0.21"), address("10.0.0.9"), address("9.255.255.255")}));
    EXPECT_EQ(addressesOf(table.leases()),
              (std::vector{address("10.0.0.10"), address("10.0.0.20")}));
    EXPECT_EQ(table.quarantine(), quarantine);
}

TEST(LeaseTableSorting, ByIPIsNumericThenByMACTextAndStable) {
    const auto mac = [](const char* text) { return MACAddress::parse(text).value(); };
    const LeaseTable table(
        {
            named(boundUntil(mac("0a:00:00:00:00:01"), "10.0.0.10", 60), "ten, 0a"),
            named(boundUntil(mac("02:00:00:00:00:01"), "10.0.0.9", 60), "nine"),
            named(boundUntil(mac("02:00:00:00:00:ff"), "10.0.0.10", 60), "ten, 02 first"),
            named(boundUntil(mac("02:00:00:00:00:ff"), "10.0.0.10", 60), "ten, 02 second"),
            named(boundUntil(mac("02:00:00:00:00:1f"), "10.0.0.10", 60), "ten, 02..1f"),
        },
        {});
    const auto before = table;
    EXPECT_EQ(hostnamesOf(table.sortedByIP()),
              (std::vector<std::string>{"nine", "ten, 02..1f", "ten, 02 first", "ten, 02 second",
                                        "ten, 0a"}));
    EXPECT_EQ(table, before);
}

TEST(LeaseTableSorting, ForDisplayRanksPresenceBeforeAddress) {
    const std::map<std::string, std::optional<PresenceState>> presenceByName = {
        {"conflict .5", PresenceState::conflict},
        {"online .50", PresenceState::online},
        {"none .1", std::nullopt},
        {"offline .2", PresenceState::offline},
        {"unknown .3", PresenceState::unknown},
        {"online .50 again", PresenceState::online},
        {"online .7", PresenceState::online},
        {"online .50, lower mac", PresenceState::online}};
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
    const auto sorted = table.sortedForDisplay(
        [&](const Lease& lease) { return presenceByName.at(lease.hostname.value()); });
    EXPECT_EQ(hostnamesOf(sorted),
              (std::vector<std::string>{"online .7", "online .50, lower mac", "online .50",
                                        "online .50 again", "conflict .5", "unknown .3",
                                        "offline .2", "none .1"}));
}

} // namespace
} // namespace corvane
