#include <gtest/gtest.h>

#include "app/model/device_timeline.hpp"
#include "core/log/event_log.hpp"

namespace corvane {
namespace {

const auto device = *MACAddress::parse("02:aa:00:00:00:01");
const auto other = *MACAddress::parse("02:bb:00:00:00:02");
const auto mac = device.description();

AttributedLine line(std::optional<MACAddress> about, std::string_view label,
                    const std::string& text) {
    return {about, {0, EventLog::line(label, text, TimePoint{}, nullptr), LogLine::Kind::other}};
}

AttributedLine rx(const MACAddress& from, std::string_view type = "RX DISCOVER") {
    return line(from, type, from.description() + " xid=0x1");
}

// A reply's line names the address and the destination, not the device.
AttributedLine tx(std::string_view type = "TX OFFER") {
    return line(device, type, "192.168.0.100 -> 255.255.255.255:68 via eth1");
}

TEST(DeviceTimeline, ShowsOnlyTheDevicesExchangeAndWhyItsLastRequestWentUnanswered) {
    struct Case {
        const char* rule;
        std::deque<AttributedLine> run;
        std::size_t shown;
        std::optional<std::string> notAnswered;
    };
    const std::vector<Case> cases{
        {"an answered exchange has no reason",
         {rx(device), tx(), line(device, "LEASE", "offered 192.168.0.100 " + mac)},
         3,
         std::nullopt},
        {"a drop after the last request is the reason, without the MAC",
         {rx(device), tx(), rx(device, "RX REQUEST"),
          line(device, "DROP", "requested address is not available " + mac)},
         4,
         "Not answered: requested address is not available"},
        {"an info line gives the reason but is not part of the exchange",
         {rx(device, "RX REQUEST"),
          line(std::nullopt, "INFO", "client " + mac + " chose another server (192.168.0.9)")},
         1,
         "Not answered: client " + mac + " chose another server (192.168.0.9)"},
        {"other devices, starts and presence lines are left out",
         {line(std::nullopt, "START", "eth1 server 192.168.0.1/24"), rx(other),
          line(other, "DROP", "address pool exhausted " + other.description()),
          line(device, "ONLINE", "192.168.0.100 " + mac + " ping"), rx(device)},
         1,
         std::nullopt},
        {"a reply after the drop clears the reason",
         {rx(device), line(device, "DROP", "address pool exhausted " + mac), rx(device), tx()},
         4,
         std::nullopt},
    };
    for (const auto& entry : cases) {
        const auto timeline = deviceTimeline(entry.run, device);
        EXPECT_EQ(timeline.lines.size(), entry.shown) << entry.rule;
        EXPECT_EQ(timeline.notAnswered, entry.notAnswered) << entry.rule;
    }
}

} // namespace
} // namespace corvane
