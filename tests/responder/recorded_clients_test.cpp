#include <filesystem>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "core/responder/responder_texts.hpp"
#include "tests/responder/responder_test_support.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;

DHCPPacket recorded(const char* name) {
    std::ifstream file(std::filesystem::path(CORVANE_CLIENT_CAPTURES) / name, std::ios::binary);
    const Bytes wire{std::istreambuf_iterator<char>(file), {}};
    return std::get<DHCPPacket>(DHCPPacket::parse(wire));
}

// The captures were taken on 10.77.0.0/24; this server lends .100 to .200 there.
TEST(RecordedClients, GetTheAnswersTheirMessagesCallFor) {
    ServerConfig config = testConfig();
    config.serverIP = ip("10.77.0.1");
    config.rangeStart = ip("10.77.0.100");
    config.rangeEnd = ip("10.77.0.200");
    config.router.reset();
    struct Case {
        const char* capture;
        DHCPMessageType type;
        const char* ip;
        ReplyDestination destination;
        std::optional<std::string> note;
    };
    const Case cases[] = {
        {"udhcpc-discover-1.bin", DHCPMessageType::offer, "10.77.0.100",
         ReplyDestination::broadcast(), std::nullopt},
        {"udhcpc-requested-ip-1.bin", DHCPMessageType::offer, "10.77.0.150",
         ReplyDestination::broadcast(), std::nullopt},
        {"dhcpcd-discover-1.bin", DHCPMessageType::offer, "10.77.0.100",
         ReplyDestination::broadcast(), std::nullopt},
        {"dhclient-reboot-request-1.bin", DHCPMessageType::nak, "10.77.0.60",
         ReplyDestination::broadcast(), std::string(responder_texts::outsideRange)},
        {"dhcpcd-inform-1.bin", DHCPMessageType::ack, "10.77.0.70",
         ReplyDestination::unicast(ip("10.77.0.70")), std::nullopt},
    };
    for (const auto& item : cases) {
        const auto packet = recorded(item.capture);
        const auto decision = Responder(config).decide(packet, contextOf({}));
        const auto* reply = replyOf(decision);
        ASSERT_NE(reply, nullptr) << item.capture;
        EXPECT_EQ(reply->type, item.type) << item.capture;
        EXPECT_EQ(reply->ip, ip(item.ip)) << item.capture;
        EXPECT_EQ(reply->destination, item.destination) << item.capture;
        EXPECT_EQ(reply->note, item.note) << item.capture;
        EXPECT_EQ(reply->packet.xid, packet.xid) << item.capture;
        EXPECT_EQ(reply->mac, packet.mac()) << item.capture;
    }
}

} // namespace
} // namespace corvane
