#include <gtest/gtest.h>

#include "core/responder/responder_texts.hpp"
#include "tests/responder/client_packet.hpp"
#include "tests/responder/responder_test_support.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;
namespace texts = responder_texts;

void eraseMessageType(DHCPPacket& packet) {
    std::erase_if(packet.options, [](const auto& field) { return field.code == 53; });
}

TEST(Drops, RefuseWhatThisServerDoesNotServe) {
    struct Case {
        const char* rule;
        ClientPacket packet;
        std::string reason;
        std::optional<MACAddress> mac;
    };
    const auto discover = [](std::function<void(DHCPPacket&)> edit) {
        return ClientPacket(DHCPMessageType::discover, client).edited(std::move(edit));
    };
    const Case cases[] = {
        {"a server's reply", discover([](auto& packet) { packet.op = 2; }),
         texts::notClientRequest(2), std::nullopt},
        {"a hardware type other than Ethernet", discover([](auto& packet) { packet.htype = 6; }),
         texts::notEthernet(6, 6), std::nullopt},
        {"a hardware length other than six", discover([](auto& packet) { packet.hlen = 16; }),
         texts::notEthernet(1, 16), std::nullopt},
        {"a relayed request, however valid",
         discover([](auto& packet) { packet.giaddr = ip("10.0.0.1"); }),
         std::string(texts::relayed), client},
        {"plain BOOTP without option 53", discover(eraseMessageType), std::string(texts::bootp),
         client},
        {"an option 53 of two bytes", discover([](auto& packet) {
             packet.options.front().data = {1, 1};
         }),
         std::string(texts::bootp), client},
        {"an option 53 beyond INFORM",
         discover([](auto& packet) { packet.options.front().data = {9}; }),
         std::string(texts::bootp), client},
        {"an OFFER", ClientPacket(DHCPMessageType::offer, client), "OFFER is a server message",
         client},
        {"an ACK", ClientPacket(DHCPMessageType::ack, client), "ACK is a server message", client},
        {"a NAK", ClientPacket(DHCPMessageType::nak, client), "NAK is a server message", client},
    };
    const LeaseTable table({leaseOf(client, "192.168.2.100", State::bound, 600s)}, {});
    for (const auto& item : cases) {
        const auto decision = Responder(testConfig()).decide(item.packet.wire(), contextOf(table));
        EXPECT_EQ(decision.action, DecisionAction{NoAction{}}) << item.rule;
        EXPECT_EQ(decision.notes, (Notes{ServerEvent::Dropped{item.reason, item.mac}}))
            << item.rule;
        EXPECT_EQ(decision.table, table) << item.rule;
        EXPECT_FALSE(decision.tableChanged) << item.rule;
    }
}

} // namespace
} // namespace corvane
