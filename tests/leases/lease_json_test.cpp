#include <gtest/gtest.h>

#include "core/address/address_json.hpp"
#include "core/leases/iso8601.hpp"
#include "core/leases/lease_table.hpp"
#include "tests/leases/lease_fixtures.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;
using nlohmann::json;

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
    struct Case {
        const char* text;
        std::optional<std::int64_t> secondsFromNow;
    };
    const Case cases[] = {
        {"2025-03-01T12:00:00Z", 0},
        {"2025-03-01T13:00:00+01:00", 0},
        {"2025-03-01T06:30:00-05:30", 0},
        {"2025-03-02T11:59:59+23:59", 59},
        {"2025-03-01T12:00:01Z", 1},
        {"2025-03-01T12:00:00.5Z", std::nullopt},
        {"2025-03-01T12:00:00", std::nullopt},
        {"2025-03-01T12:00Z", std::nullopt},
        {"2025-03-01 12:00:00Z", std::nullopt},
        {"2025-03-01t12:00:00Z", std::nullopt},
        {"2025-03-01T12:00:00z", std::nullopt},
        {"2025-03-01T12:00:00+0100", std::nullopt},
        {"2025-03-01T12:00:00+01", std::nullopt},
        {"2025-03-01T12:00:00+24:00", std::nullopt},
        {"2025-03-01T12:00:00+01:60", std::nullopt},
        {"2025-03-01T12:00:00Z ", std::nullopt},
        {" 2025-03-01T12:00:00Z", std::nullopt},
        {"2025-02-29T12:00:00Z", std::nullopt},
        {"2025-13-01T12:00:00Z", std::nullopt},
        {"2025-00-01T12:00:00Z", std::nullopt},
        {"2025-03-01T24:00:00Z", std::nullopt},
        {"2025-03-01T12:60:00Z", std::nullopt},
        {"2025-03-01T12:00:60Z", std::nullopt},
        {"25-03-01T12:00:00Z", std::nullopt},
        {"+2025-03-01T12:00:00Z", std::nullopt},
        {"2025-3-01T12:00:00Z", std::nullopt},
        {"1741003200", std::nullopt},
        {"", std::nullopt},
        // Beyond what the clock's nanosecond count can hold.
        {"9999-12-31T23:59:59Z", std::nullopt},
        {"1500-01-01T00:00:00Z", std::nullopt},
    };
    for (const auto& [text, expected] : cases) {
        const auto parsed = parseISO8601(text);
        ASSERT_EQ(parsed.has_value(), expected.has_value()) << text;
        if (expected) {
            EXPECT_EQ(*parsed, secondsFromNow(*expected)) << text;
        }
    }
    EXPECT_EQ(parseISO8601("2024-02-29T00:00:00Z"), TimePoint{std::chrono::seconds{1'709'164'800}});
    EXPECT_TRUE(parseISO8601("2262-04-11T23:47:16Z"));
    EXPECT_FALSE(parseISO8601("2262-04-11T23:47:17Z"));
}

TEST(LeaseJSON, WritesEveryFieldAndOmitsAbsentTexts) {
    auto lease = makeLease(MACAddress::parse("00:1a:2b:3c:4d:5e").value(), address("10.0.0.5"),
                           Lease::State::bound, secondsFromNow(3600), secondsFromNow(-60));
    lease.firstSeen = secondsFromNow(-120);
    lease.hostname = "printer";
    const json document = lease;
    EXPECT_EQ(document, json::parse(R"({
        "mac": "00:1a:2b:3c:4d:5e", "ip": "10.0.0.5", "state": "bound",
        "expiresAt": "2025-03-01T13:00:00Z", "hostname": "printer",
        "firstSeen": "2025-03-01T11:58:00Z", "lastSeen": "2025-03-01T11:59:00Z"})"));
    EXPECT_EQ(document.get<Lease>(), lease);

    lease.vendorClass = "";
    lease.clientID = "01:00:1a:2b:3c:4d:5e";
    EXPECT_EQ(json(lease).get<Lease>(), lease);
}

TEST(LeaseJSON, EveryStateRoundTripsByItsName) {
    for (const auto& [state, name] :
         {std::pair{Lease::State::offered, "offered"}, std::pair{Lease::State::bound, "bound"},
          std::pair{Lease::State::released, "released"},
          std::pair{Lease::State::reclaimed, "reclaimed"}}) {
        const auto lease = makeLease(macNumbered(1), address("10.0.0.5"), state, now);
        EXPECT_EQ(json(lease)["state"], name);
        EXPECT_EQ(json(lease).get<Lease>().state, state) << name;
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

TEST(QuarantineJSON, RoundTripsAndRequiresEveryKey) {
    const Quarantine entry{address("10.0.0.7"), secondsFromNow(600), macNumbered(3)};
    const json document = entry;
    EXPECT_EQ(document, json::parse(R"({"ip": "10.0.0.7", "until": "2025-03-01T12:10:00Z",
                                        "reportedBy": "02:00:00:00:00:03"})"));
    EXPECT_EQ(document.get<Quarantine>(), entry);
    for (const char* key : {"ip", "until", "reportedBy"}) {
        auto incomplete = document;
        incomplete.erase(key);
        EXPECT_THROW((void)incomplete.get<Quarantine>(), json::exception) << key;
    }
}

TEST(LeaseTableJSON, RoundTripsBothListsInOrderAndRequiresBoth) {
    const LeaseTable table(
        {boundUntil(macNumbered(2), "10.0.0.9", 60), boundUntil(macNumbered(1), "10.0.0.3", 60)},
        {Quarantine{address("10.0.0.8"), now, macNumbered(1)}});
    const json document = table;
    EXPECT_EQ(document.get<LeaseTable>(), table);
    EXPECT_EQ(document["leases"][0]["ip"], "10.0.0.9");
    for (const char* key : {"leases", "quarantine"}) {
        auto incomplete = document;
        incomplete.erase(key);
        EXPECT_THROW((void)incomplete.get<LeaseTable>(), json::exception) << key;
    }
}

} // namespace
} // namespace corvane
