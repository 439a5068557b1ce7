#include <chrono>

#include <date/date.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/log/event_log.hpp"

namespace corvane {
namespace {

using namespace std::chrono_literals;

// 2025-03-01T14:05:09.123Z
const TimePoint sampleTime = date::sys_days{date::year{2025} / 3 / 1} + 14h + 5min + 9s + 123ms;
const date::time_zone* const utc = nullptr;

// Locally administered, so its maker reads the same whatever registry is installed.
const MACAddress deviceMAC({0x02, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e});
const IPv4Address deviceIP(192, 168, 0, 150);

Lease sampleLease(std::optional<std::string> hostname) {
    Lease lease;
    lease.mac = deviceMAC;
    lease.ip = deviceIP;
    lease.state = Lease::State::bound;
    lease.hostname = std::move(hostname);
    return lease;
}

PacketSummary fullRequest() {
    PacketSummary packet;
    packet.type = DHCPMessageType::request;
    packet.mac = deviceMAC;
    packet.xid = 0xdeadbeef;
    packet.hostname = "camera";
    packet.vendorClass = "udhcp 1.36.1";
    packet.clientID = "01:02:1a:2b:3c:4d:5e";
    packet.requestedIP = deviceIP;
    packet.serverID = IPv4Address(192, 168, 0, 1);
    packet.ciaddr = IPv4Address(192, 168, 0, 151);
    packet.interface = "enp3s0";
    return packet;
}

SentSummary sentReply(ReplyDestination destination, std::optional<std::string> note) {
    return {DHCPMessageType::ack, deviceIP, deviceMAC, destination, "enp3s0", std::move(note)};
}

TEST(EventLogLine, PadsTheLabelToTwelveAndNeverCutsIt) {
    struct Case {
        const char* rule;
        const char* label;
        const char* line;
    };
    const Case cases[] = {
        {"short label", "LINK", "14:05:09.123  LINK         up"},
        {"11 characters get one space of padding", "RX DISCOVER", "14:05:09.123  RX DISCOVER  up"},
        {"12 characters get none", "RX ABCDEFGHI", "14:05:09.123  RX ABCDEFGHI up"},
        {"13 characters stay whole", "RX ABCDEFGHIJ", "14:05:09.123  RX ABCDEFGHIJ up"},
        {"empty label", "", "14:05:09.123               up"},
    };
    for (const auto& [rule, label, expected] : cases) {
        EXPECT_EQ(EventLog::line(label, "up", sampleTime, utc), expected) << rule;
    }
}

TEST(EventLogTimestamp, ShowsLocalTimeWithFlooredMilliseconds) {
    const auto* berlin = date::locate_zone("Europe/Berlin");
    const auto midnight = date::sys_days{date::year{2025} / 3 / 1};
    struct Case {
        const char* rule;
        TimePoint at;
        const date::time_zone* zone;
        const char* text;
    };
    const Case cases[] = {
        {"UTC", sampleTime, utc, "14:05:09.123"},
        {"Berlin in winter is one hour ahead", sampleTime, berlin, "15:05:09.123"},
        {"Berlin in summer is two hours ahead", date::sys_days{date::year{2025} / 7 / 1} + 12h,
         berlin, "14:00:00.000"},
        {"0.9999 s into a second is 999, never 1000", midnight + 5s + 999900us, utc,
         "00:00:05.999"},
        {"one nanosecond short of a second", midnight + 5s + 999999999ns, utc, "00:00:05.999"},
        {"half a second before 1970", TimePoint(-500ms), utc, "23:59:59.500"},
    };
    for (const auto& [rule, at, zone, text] : cases) {
        EXPECT_EQ(EventLog::timestamp(at, zone), text) << rule;
    }
}

struct EventCase {
    const char* rule;
    ServerEvent event;
    // The line after its timestamp; every label here fits the 12 columns, so the text
    // starts at column 13.
    std::optional<std::string> line;
    std::string label;
    std::string kind;
    // Keys beyond time, event, label and text; null means no JSON at all.
    nlohmann::json extraKeys;
};

std::vector<EventCase> everyEvent() {
    auto config = ServerConfig::defaultConfig();
    config.leaseSeconds = 5400;
    PacketSummary bare;
    bare.xid = 42;
    auto typeless = fullRequest();
    typeless.type.reset();
    const auto none = nlohmann::json::object();
    const nlohmann::json leaseKeys = {{"ip", "192.168.0.150"},
                                      {"mac", "02:1a:2b:3c:4d:5e"},
                                      {"maker", "locally administered"},
                                      {"state", "bound"}};
    nlohmann::json typelessKeys = {{"mac", "02:1a:2b:3c:4d:5e"},
                                   {"maker", "locally administered"},
                                   {"hostname", "camera"},
                                   {"vendorClass", "udhcp 1.36.1"},
                                   {"requestedIP", "192.168.0.150"},
                                   {"serverID", "192.168.0.1"},
                                   {"xid", "0xdeadbeef"}};
    auto requestKeys = typelessKeys;
    requestKeys["type"] = "REQUEST";
    nlohmann::json broadcastKeys = {{"type", "ACK"},
                                    {"ip", "192.168.0.150"},
                                    {"mac", "02:1a:2b:3c:4d:5e"},
                                    {"maker", "locally administered"},
                                    {"destination", "255.255.255.255:68"},
                                    {"interface", "enp3s0"}};
    auto unicastKeys = broadcastKeys;
    unicastKeys["destination"] = "192.168.0.150:68";
    unicastKeys["note"] = "renewal";
    return {
        {"started", ServerEvent::Started{"enp3s0", config},
         "START        enp3s0 server 192.168.0.1/24 range 192.168.0.100-192.168.0.200 lease "
         "1 h 30 m",
         "START", "started", none},
        {"received with every field", ServerEvent::Received{fullRequest()},
         "RX REQUEST   02:1a:2b:3c:4d:5e host=camera vendor=udhcp 1.36.1 req=192.168.0.150 "
         "sid=192.168.0.1 ciaddr=192.168.0.151 cid=01:02:1a:2b:3c:4d:5e xid=0xdeadbeef if=enp3s0",
         "RX REQUEST", "received", requestKeys},
        {"received bare",
         ServerEvent::Received{bare},
         "RX ?         - host=- vendor=- req=- xid=0x0000002a",
         "RX ?",
         "received",
         {{"xid", "0x0000002a"}}},
        {"received without a type", ServerEvent::Received{typeless},
         "RX ?         " + EventLog::describe(typeless), "RX ?", "received", typelessKeys},
        {"sent broadcast", ServerEvent::Sent{sentReply(ReplyDestination::broadcast(), {})},
         "TX ACK       192.168.0.150 -> 255.255.255.255:68 via enp3s0", "TX ACK", "sent",
         broadcastKeys},
        {"sent unicast with a note",
         ServerEvent::Sent{sentReply(ReplyDestination::unicast(deviceIP), "renewal")},
         "TX ACK       192.168.0.150 -> 192.168.0.150:68 via enp3s0 (renewal)", "TX ACK", "sent",
         unicastKeys},
        {"dropped with a MAC", ServerEvent::Dropped{"not a request", deviceMAC},
         "DROP         not a request 02:1a:2b:3c:4d:5e", "DROP", "dropped", none},
        {"dropped without a MAC", ServerEvent::Dropped{"malformed (too short)", std::nullopt},
         "DROP         malformed (too short)", "DROP", "dropped", none},
        {"lease with a host name", ServerEvent::LeaseChanged{sampleLease("camera")},
         "LEASE        bound 192.168.0.150 02:1a:2b:3c:4d:5e host=camera", "LEASE", "leaseChanged",
         leaseKeys},
        {"lease without a host name", ServerEvent::LeaseChanged{sampleLease(std::nullopt)},
         "LEASE        bound 192.168.0.150 02:1a:2b:3c:4d:5e", "LEASE", "leaseChanged", leaseKeys},
        {"lease removed", ServerEvent::LeaseRemoved{deviceMAC},
         "LEASE        removed 02:1a:2b:3c:4d:5e", "LEASE", "leaseRemoved", none},
        {"presence",
         ServerEvent::Presence{deviceIP, deviceMAC, PresenceState::conflict, "arp"},
         "CONFLICT     192.168.0.150 02:1a:2b:3c:4d:5e arp",
         "CONFLICT",
         "presence",
         {{"ip", "192.168.0.150"},
          {"mac", "02:1a:2b:3c:4d:5e"},
          {"maker", "locally administered"},
          {"state", "conflict"}}},
        {"link up with media", ServerEvent::Link{true, "1000baseT full-duplex"},
         "LINK         up 1000baseT full-duplex", "LINK", "link", none},
        {"link up without media", ServerEvent::Link{true, std::nullopt}, "LINK         up", "LINK",
         "link", none},
        {"link down ignores media", ServerEvent::Link{false, "none"}, "LINK         down", "LINK",
         "link", none},
        {"notice raised", ServerEvent::NoticeRaised{Notice::adapterUnplugged()},
         "NOTICE       " + Notice::adapterUnplugged().message, "NOTICE", "notice", none},
        {"notice cleared", ServerEvent::NoticeCleared{NoticeKind::linkDown}, std::nullopt, "",
         "noticeCleared", nullptr},
        {"info", ServerEvent::Info{"enp3s0 is back"}, "INFO         enp3s0 is back", "INFO", "info",
         none},
        {"stopped", ServerEvent::Stopped{}, "STOP         server stopped", "STOP", "stopped", none},
    };
}

TEST(EventLogEvents, EachCaseHasItsLineKindAndJSON) {
    for (const auto& [rule, event, expectedLine, label, expectedKind, extraKeys] : everyEvent()) {
        const auto line = EventLog::line(event, sampleTime, utc);
        EXPECT_EQ(line, expectedLine ? "14:05:09.123  " + *expectedLine : expectedLine) << rule;
        EXPECT_EQ(EventLog::kind(event), expectedKind) << rule;

        const auto json = EventLog::json(event, sampleTime);
        if (extraKeys.is_null()) {
            EXPECT_EQ(json, std::nullopt) << rule;
            continue;
        }
        ASSERT_TRUE(json) << rule;
        auto expected = extraKeys;
        expected["time"] = "2025-03-01T14:05:09Z";
        expected["event"] = expectedKind;
        expected["label"] = label;
        expected["text"] = expectedLine->substr(13);
        EXPECT_EQ(nlohmann::json::parse(*json), expected) << rule;
    }
}

TEST(EventLogJSON, IsOneCompactLineWithSortedKeys) {
    const auto json = EventLog::json(ServerEvent::LeaseRemoved{deviceMAC}, sampleTime);
    EXPECT_EQ(json, R"({"event":"leaseRemoved","label":"LEASE","text":"removed )"
                    R"(02:1a:2b:3c:4d:5e","time":"2025-03-01T14:05:09Z"})");
}

TEST(EventLogJSON, GivesNothingForTextThatIsNotUTF8) {
    EXPECT_EQ(EventLog::json(ServerEvent::Info{"bad \xff byte"}, sampleTime), std::nullopt);
    EXPECT_TRUE(EventLog::line(ServerEvent::Info{"bad \xff byte"}, sampleTime, utc));
}

} // namespace
} // namespace corvane
