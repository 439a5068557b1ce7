#include "tests/responder/responder_fixtures.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;

TEST(Drops, RefuseWhatThisServerDoesNotServe) {
    const auto discover = [](std::function<void(DHCPPacket&)> edit) {
        return ClientPacket(DHCPMessageType::discover).edited(std::move(edit));
    };
    const auto elsewhere = IPv4Address(10, 9, 9, 9);
    // Which option 53 values name a message is the packet's own rule (tests/packet).
    const std::tuple<const char*, ClientPacket, ServerEvent> cases[] = {
        {"a server's reply", discover([](auto& packet) { packet.op = 2; }),
         dropped(texts::notClientRequest(2), std::nullopt)},
        {"a hardware type other than Ethernet", discover([](auto& packet) { packet.htype = 6; }),
         dropped(texts::notEthernet(6, 6), std::nullopt)},
        {"a relayed request, however valid",
         discover([](auto& packet) { packet.giaddr = IPv4Address(10, 0, 0, 1); }),
         dropped(texts::relayed)},
        {"plain BOOTP without option 53", discover([](auto& packet) {
             std::erase_if(packet.options, [](auto& o) { return o.code == 53; });
         }),
         dropped(texts::bootp)},
        {"a DECLINE without option 50", ClientPacket(DHCPMessageType::decline),
         dropped(texts::declineWithoutAddress)},
        {"an INFORM from another network", ClientPacket(DHCPMessageType::inform).from(elsewhere),
         dropped(texts::informFromOtherNetwork(elsewhere))},
    };
    const LeaseTable table({leaseOf(client, 100, State::bound, 600s)}, {});
    for (const auto& [rule, packet, note] : cases) {
        SCOPED_TRACE(rule);
        const auto decision = decide(packet, table);
        EXPECT_EQ(decision.action, DecisionAction{NoAction{}});
        EXPECT_EQ(decision.notes, Notes{note});
        EXPECT_EQ(decision.table, table);
        EXPECT_FALSE(decision.tableChanged);
    }
}

} // namespace
} // namespace corvane
