#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/responder/responder_fixtures.hpp"

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
    config.serverIP = IPv4Address(10, 77, 0, 1);
    config.rangeStart = IPv4Address(10, 77, 0, 100);
    config.rangeEnd = IPv4Address(10, 77, 0, 200);
    config.router.reset();
    const auto broadcast = ReplyDestination::broadcast();
    const auto offer = DHCPMessageType::offer;
    const std::optional<std::string> noNote;
    const std::tuple<const char*, DHCPMessageType, std::uint8_t, ReplyDestination,
                     std::optional<std::string>>
        cases[] = {
            {"udhcpc-discover-1.bin", offer, 100, broadcast, noNote},
            {"udhcpc-requested-ip-1.bin", offer, 150, broadcast, noNote},
            {"dhcpcd-discover-1.bin", offer, 100, broadcast, noNote},
            {"dhclient-reboot-request-1.bin", DHCPMessageType::nak, 60, broadcast,
             std::string(texts::outsideRange)},
            {"dhcpcd-inform-1.bin", DHCPMessageType::ack, 70,
             ReplyDestination::unicast(IPv4Address(10, 77, 0, 70)), noNote},
        };
    for (const auto& [capture, type, host, destination, note] : cases) {
        const auto packet = recorded(capture);
        const auto decision = Responder(config).decide(packet, contextOf({}));
        const auto* reply = replyOf(decision);
        ASSERT_NE(reply, nullptr) << capture;
        EXPECT_EQ(*reply, (Reply{reply->packet, destination, type, IPv4Address(10, 77, 0, host),
                                 *packet.mac(), note}))
            << capture;
        EXPECT_EQ(reply->packet.xid, packet.xid) << capture;
    }
}

} // namespace
} // namespace corvane
