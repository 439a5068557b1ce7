#include <gtest/gtest.h>

#include "core/address/address_json.hpp"
#include "core/leases/iso8601.hpp"
#include "core/leases/lease_table.hpp"
#include "tests/leases/lease_fixtures.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;
using nlohmann::json;
using State = Lease::State;

TEST(ISO8601Format, WritesUTCWholeSecondsWithZ) {
    using std::chrono::milliseconds;
    EXPECT_EQ(formatISO8601(now), "2025-03-01T12:00:00Z");
    EXPECT_EQ(formatISO8601(now + milliseconds(999)), "2025-03-01T12:00:00Z");
    EXPECT_EQ(formatISO8601(TimePoint{}), "1970-01-01T00:00:00Z");
    // Before the epoch a fraction still rounds towards the past, not towards 1970.
    EXPECT_EQ(formatISO8601(TimePoint{} - milliseconds(1)), "1969-12-31T23:59:59Z");
    EXPECT_EQ(formatISO8601(TimePoint{std::chrono::seconds{951'825'600}}), "2000-02-29T12:00:00Z");
}

TEST(ISO8601Parse, AcceptsDateTimeAndZoneWithWholeSecondsOnly) {
    const std::pair<const char*, std::int64_t> valid[] = {
        {"2025-03-01T12:00:00Z", 0},      {"2025-03-01T13:00:00+01:00", 0},
        {"2025-03-01T06:30:00-05:30", 0}, {"2025-03-02T11:59:59+23:59", 59},
        {"2025-03-01T12:00:01Z", 1},
    };
    for (const auto& [text, seconds] : valid) {
        EXPECT_EQ(parseISO8601(text), secondsFromNow(seconds)) << text;
    }
    EXPECT_EQ(parseISO8601("2024-02-29T00:00:00Z"), TimePoint{std::chrono::seconds{1'709'164'800}});
    // The last instant the clock's nanosecond count can hold.
    EXPECT_TRUE(parseISO8601("2262-04-11T23:47:16Z"));
    const char* const invalid[] = {
        // Out of the clock's range.
        "2262-04-11T23:47:17Z", "9999-12-31T23:59:59Z", "1500-01-01T00:00:00Z",
        // Not the one shape.
        "2025-03-01T12:00:00.5Z", "2025-03-01T12:00:00", "2025-03-01T12:00Z",
        "2025-03-01 12:00:00Z", "2025-03-01t12:00:00Z", "2025-03-01T12:00:00z",
        "2025-03-01T12:00:00Z ", " 2025-03-01T12:00:00Z", "25-03-01T12:00:00Z",
        "+2025-03-01T12:00:00Z", "2025-3-01T12:00:00Z", "1741003200", "",
        // Bad zones.
        "2025-03-01T12:00:00+0100", "2025-03-01T12:00:00+01", "2025-03-01T12:00:00+24:00",
        "2025-03-01T12:00:00+01:60",
        // No such day or time.
        "2025-02-29T12:00:00Z", "2025-13-01T12:00:00Z", "2025-00-01T12:00:00Z",
        "2025-03-01T24:00:00Z", "2025-03-01T12:60:00Z", "2025-03-01T12:00:60Z"};
    for (const char* bad : invalid) {
        EXPECT_FALSE(parseISO8601(bad)) << bad;
    }
}

// The lease file's golden text pins the other keys and the omission of absent texts.
TEST(LeaseJSON, NamesTheOtherTextsAndKeepsAnEmptyOne) {
    auto lease = makeLease(macNumbered(1), address("10.0.0.5"), State::bound, now);
    lease.vendorClass = "";
    lease.clientID = "01:00:1a:2b:3c:4d:5e";
    const json document = lease;
    EXPECT_EQ(document["vendorClass"], "");
    EXPECT_EQ(document["clientID"], "01:00:1a:2b:3c:4d:5e");
    EXPECT_EQ(document.get<Lease>(), lease);
}

TEST(LeaseJSON, EveryStateRoundTripsByItsName) {
    for (const auto& [state, name] : {std::pair{State::offered, "offered"},
                                      {State::bound, "bound"},
                                      {State::released, "released"},
                                      {State::reclaimed, "reclaimed"}}) {
        const json document = makeLease(macNumbered(1), address("10.0.0.5"), state, now);
        EXPECT_EQ(document["state"], name);
        EXPECT_EQ(document.get<Lease>().state, state) << name;
    }
}

TEST(LeaseJSON, OptionalTextsMayBeMissingOrNull) {
    const auto document = json::parse(R"({
        "mac": "00:1a:2b:3c:4d:5e", "ip": "10.0.0.5", "state": "offered",
        "expiresAt": "2025-03-01T13:00:00Z", "hostname": null, "vendorClass": "MSFT 5.0",
        "firstSeen": "2025-03-01T11:58:00Z", "lastSeen": "2025-03-01T11:59:00Z",
        "somethingNewer": 42})");
    const auto lease = document.get<Lease>();
    EXPECT_FALSE(lease.hostname);
    EXPECT_EQ(lease.vendorClass, "MSFT 5.0");
    EXPECT_FALSE(lease.clientID);
}

TEST(LeaseJSON, RejectsBadValuesAndMissingKeys) {
    const auto valid = json(
        makeLease(macNumbered(1), address("10.0.0.5"), Lease::State::bound, secondsFromNow(60)));
    struct Case {
        const char* rule;
        const char* key;
        json value;
        bool isCorruptedValue;
    };
    const Case cases[] = {
        {"unknown state", "state", "expired", true},
        {"state in capitals", "state", "Bound", true},
        {"bad address", "ip", "10.0.0.256", true},
        {"bad hardware address", "mac", "00-1a-2b-3c-4d-5e", true},
        {"time without zone", "expiresAt", "2025-03-01T13:00:00", true},
        {"time as a number", "lastSeen", 1740830400, false},
        {"hostname as a number", "hostname", 7, false},
        {"missing state", "state", nullptr, false},
        {"missing first seen", "firstSeen", nullptr, false},
    };
    for (const auto& item : cases) {
        auto document = valid;
        if (item.value.is_null()) {
            document.erase(item.key);
        } else {
            document[item.key] = item.value;
        }
        if (item.isCorruptedValue) {
            EXPECT_THROW((void)document.get<Lease>(), DecodingError) << item.rule;
        } else {
            EXPECT_THROW((void)document.get<Lease>(), json::exception) << item.rule;
        }
    }
}

TEST(LeaseTableJSON, RoundTripsBothListsInOrderAndRequiresEveryKey) {
    const LeaseTable table(
        {boundUntil(macNumbered(2), "10.0.0.9", 60), boundUntil(macNumbered(1), "10.0.0.3", 60)},
        {Quarantine{address("10.0.0.7"), secondsFromNow(600), macNumbered(3)}});
    const json document = table;
    EXPECT_EQ(document.get<LeaseTable>(), table);
    for (const auto& path : {"/leases", "/quarantine", "/quarantine/0/ip", "/quarantine/0/until",
                             "/quarantine/0/reportedBy"}) {
        const json::json_pointer missing(path);
        auto incomplete = document;
        incomplete[missing.parent_pointer()].erase(missing.back());
        EXPECT_THROW((void)incomplete.get<LeaseTable>(), json::exception) << path;
    }
}

} // namespace
} // namespace corvane
