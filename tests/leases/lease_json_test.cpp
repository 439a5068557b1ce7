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

TEST(ISO8601Parse, AcceptsDateTimeAndZoneWithWholeSecondsOnly) {
    const std::pair<const char*, std::int64_t> valid[] = {
        {"2025-03-01T12:00:01Z", 1},
        {"2025-03-01T06:30:00-05:30", 0},
        {"2025-03-02T11:59:59+23:59", 59},
    };
    for (const auto& [text, seconds] : valid) {
        EXPECT_EQ(parseISO8601(text), secondsFromNow(seconds)) << text;
    }
    // The last instant the clock's nanosecond count can hold.
    EXPECT_TRUE(parseISO8601("2262-04-11T23:47:16Z"));
    const char* const invalid[] = {
        // Out of the clock's range.
        "2262-04-11T23:47:17Z", "1500-01-01T00:00:00Z",
        // Not the one shape.
        "2025-03-01T12:00:00.5Z", "2025-03-01T12:00:00", "2025-03-01 12:00:00Z",
        "2025-03-01T12:00:00Z ", "2025-3-01T12:00:00Z", "",
        // Bad zones.
        "2025-03-01T12:00:00+0100", "2025-03-01T12:00:00+24:00",
        // No such day or time.
        "2025-02-29T12:00:00Z", "2025-13-01T12:00:00Z", "2025-03-01T24:00:00Z"};
    for (const char* bad : invalid) {
        EXPECT_FALSE(parseISO8601(bad)) << bad;
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

} // namespace
} // namespace corvane
