#include <set>

#include "tests/responder/responder_fixtures.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;

// Plays the runtime's part around the responder: keeps the table between messages and hands
// it over to each decision, answers each probe from the set of addresses where a device is
// alive, and asks again.
struct SimulatedServer {
    Responder responder{testConfig()};
    LeaseTable table;
    std::unordered_map<IPv4Address, PresenceState> presence;
    std::set<IPv4Address> alive;
    std::vector<IPv4Address> probed;
    TimePoint clock = now;

    Decision receive(const ClientPacket& packet) {
        DecisionContext context{std::move(table), presence, {}, clock};
        for (std::size_t round = 0; round <= Timing::maxProbesPerPacket; ++round) {
            auto decision = responder.decide(packet.wire(), std::move(context));
            const auto* probe = std::get_if<ProbeAddress>(&decision.action);
            if (probe == nullptr) {
                table = decision.table;
                return decision;
            }
            // A handed-over context loses only its table; the probe results stay.
            context.table = std::move(decision.table);
            probed.push_back(probe->ip);
            context.probes[probe->ip] = alive.contains(probe->ip);
        }
        ADD_FAILURE() << "more probes than one packet may ask for";
        return {};
    }

    std::optional<IPv4Address> answer(const ClientPacket& packet, DHCPMessageType type) {
        const auto decision = receive(packet);
        const auto* reply = replyOf(decision);
        if (reply == nullptr || reply->type != type) {
            ADD_FAILURE() << "no " << description(type);
            return std::nullopt;
        }
        return reply->packet.yiaddr;
    }
};

ClientPacket message(DHCPMessageType type, const MACAddress& mac = client) {
    return ClientPacket(type, mac);
}
const auto discover = DHCPMessageType::discover;
const auto request = DHCPMessageType::request;

// A holder that answers keeps its address (discover_test.cpp, the namespace server test); a
// released client's own record gives it its address back (allocation_property_test).
TEST(Exchange, AFullPoolReclaimsFromAnAbsentHolderWhenNobodyAnswers) {
    SimulatedServer dhcp;
    auto config = testConfig();
    config.rangeEnd = lan(101);
    dhcp.responder = Responder(config);
    const auto absent = leaseOf(device(1), 100, State::bound, 600s, 900s);
    dhcp.table = LeaseTable({absent, leaseOf(device(2), 101, State::bound, 600s)}, {});
    dhcp.presence = {{lan(100), PresenceState::offline}, {lan(101), PresenceState::online}};

    const auto decision = dhcp.receive(message(discover));

    EXPECT_EQ(dhcp.probed, std::vector<IPv4Address>{absent.ip});
    ASSERT_NE(replyOf(decision), nullptr);
    EXPECT_EQ(replyOf(decision)->ip, absent.ip);
    auto reclaimed = absent;
    reclaimed.state = State::reclaimed;
    EXPECT_EQ(decision.notes,
              (Notes{ServerEvent::LeaseChanged{reclaimed},
                     ServerEvent::Info{texts::reclaimed(absent.ip, absent.mac)},
                     ServerEvent::LeaseChanged{dhcp.table.lease(client).value_or(Lease{})}}));
    EXPECT_EQ(holderOf(dhcp.table, absent.ip, dhcp.clock), client);
    EXPECT_EQ(
        dhcp.answer(message(request).requesting(absent.ip).toServer(server), DHCPMessageType::ack),
        absent.ip);
}

TEST(Exchange, ADeclinedAddressIsRefusedUntilItsQuarantineEnds) {
    SimulatedServer dhcp;
    const auto address = lan(100);
    dhcp.answer(message(request).requesting(address), DHCPMessageType::ack);
    dhcp.receive(message(DHCPMessageType::decline).requesting(address));
    const auto declinedAt = dhcp.clock;

    dhcp.clock = declinedAt + 599s;
    const auto refused = dhcp.receive(message(request).requesting(address));
    ASSERT_NE(replyOf(refused), nullptr);
    EXPECT_EQ(replyOf(refused)->note, std::string(texts::declinedRecently));
    EXPECT_EQ(dhcp.answer(message(discover, device(2)), DHCPMessageType::offer), lan(101));

    dhcp.clock = declinedAt + 600s;
    const auto ignored = dhcp.receive(message(DHCPMessageType::release).from(address));
    EXPECT_TRUE(dhcp.table.quarantine().empty());
    EXPECT_FALSE(ignored.tableChanged);
    EXPECT_EQ(dhcp.answer(message(request).requesting(address), DHCPMessageType::ack), address);
}

} // namespace
} // namespace corvane
