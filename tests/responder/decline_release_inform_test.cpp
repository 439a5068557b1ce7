#include <gtest/gtest.h>

#include "core/responder/responder_texts.hpp"
#include "tests/responder/client_packet.hpp"
#include "tests/responder/responder_test_support.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;
namespace texts = responder_texts;

const MACAddress other = device(0x01);
const IPv4Address server = ip("192.168.2.1");

Decision decide(const ClientPacket& packet, const LeaseTable& table) {
    return Responder(testConfig()).decide(packet.wire(), contextOf(table));
}

TEST(Decline, QuarantinesTheAddressForTenMinutesAndForgetsTheClientsLease) {
    const auto declined = ip("192.168.2.100");
    const LeaseTable table({leaseOf(other, "192.168.2.101", State::bound, 600s),
                            leaseOf(client, "192.168.2.100", State::bound, 600s)},
                           {});
    const auto decision =
        decide(ClientPacket(DHCPMessageType::decline, client).requesting(declined), table);

    EXPECT_EQ(decision.action, DecisionAction{NoAction{}});
    EXPECT_EQ(decision.table, LeaseTable({table.leases()[0]}, {{declined, now + 600s, client}}));
    EXPECT_TRUE(decision.tableChanged);
    EXPECT_EQ(decision.notes,
              (Notes{ServerEvent::LeaseRemoved{client},
                     ServerEvent::Info{texts::declined(client, declined, "10 m")}}));
}

TEST(Decline, KeepsALeaseForAnotherAddressAndNeedsOption50) {
    const LeaseTable table({leaseOf(client, "192.168.2.104", State::bound, 600s)}, {});
    const auto elsewhere = decide(
        ClientPacket(DHCPMessageType::decline, client).requesting(ip("192.168.2.100")), table);
    EXPECT_EQ(elsewhere.table.leases(), table.leases());
    EXPECT_EQ(elsewhere.notes.size(), 1u);

    const auto bare = decide(ClientPacket(DHCPMessageType::decline, client), table);
    EXPECT_EQ(bare.table, table);
    EXPECT_FALSE(bare.tableChanged);
    EXPECT_EQ(bare.notes,
              (Notes{ServerEvent::Dropped{std::string(texts::declineWithoutAddress), client}}));
}

TEST(Release, EndsOnlyTheClientsOwnLeaseAtThisServer) {
    const auto lease = leaseOf(client, "192.168.2.103", State::bound, 600s, 60s);
    auto released = lease;
    released.state = State::released;
    released.expiresAt = now;
    released.lastSeen = now;
    struct Case {
        const char* rule;
        std::vector<Lease> leases;
        ClientPacket packet;
        ServerEvent note;
    };
    const auto release = [](const char* ciaddr) {
        return ClientPacket(DHCPMessageType::release, client).from(ip(ciaddr));
    };
    const Case cases[] = {
        {"the client's lease at this server",
         {lease},
         release("192.168.2.103").toServer(server),
         ServerEvent::LeaseChanged{released}},
        {"another server's identifier",
         {lease},
         release("192.168.2.103").toServer(ip("192.168.2.254")),
         ServerEvent::Info{texts::releaseForAnotherServer(client)}},
        {"no server identifier",
         {lease},
         release("192.168.2.103"),
         ServerEvent::Info{texts::releaseForAnotherServer(client)}},
        {"a different address than the lease's",
         {lease},
         release("192.168.2.104").toServer(server),
         ServerEvent::Info{texts::releaseOfUnknownLease(client)}},
        {"no lease at all",
         {},
         release("192.168.2.103").toServer(server),
         ServerEvent::Info{texts::releaseOfUnknownLease(client)}},
    };
    for (const auto& item : cases) {
        const auto decision = decide(item.packet, LeaseTable(item.leases, {}));
        const bool applies = item.note.is<ServerEvent::LeaseChanged>();
        EXPECT_EQ(decision.action, DecisionAction{NoAction{}}) << item.rule;
        EXPECT_EQ(decision.notes, Notes{item.note}) << item.rule;
        EXPECT_EQ(decision.tableChanged, applies) << item.rule;
        EXPECT_EQ(decision.table.leases(), applies ? std::vector<Lease>{released} : item.leases)
            << item.rule;
    }
}

TEST(Inform, AnswersADeviceOnThisNetworkWithOptionsOnly) {
    const auto staticAddress = ip("192.168.2.50");
    const auto decision =
        decide(ClientPacket(DHCPMessageType::inform, client).from(staticAddress), {});

    EXPECT_EQ(decision.table, LeaseTable());
    EXPECT_FALSE(decision.tableChanged);
    EXPECT_EQ(decision.notes,
              Notes{ServerEvent::Info{texts::informAnswered(staticAddress, client)}});
    const auto* reply = replyOf(decision);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(reply->type, DHCPMessageType::ack);
    EXPECT_EQ(reply->ip, staticAddress);
    EXPECT_EQ(reply->destination, ReplyDestination::unicast(staticAddress));
    EXPECT_EQ(reply->note, std::nullopt);
    EXPECT_EQ(reply->packet.yiaddr, IPv4Address::zero);
    EXPECT_EQ(reply->packet.ciaddr, staticAddress);
    EXPECT_EQ(optionCodes(reply->packet), (std::vector<std::uint8_t>{53, 54, 1, 28, 3, 6}));
}

TEST(Inform, DropsADeviceFromAnotherNetwork) {
    const auto decision =
        decide(ClientPacket(DHCPMessageType::inform, client).from(ip("10.9.9.9")), {});
    EXPECT_EQ(decision.action, DecisionAction{NoAction{}});
    EXPECT_EQ(decision.notes,
              (Notes{ServerEvent::Dropped{texts::informFromOtherNetwork(ip("10.9.9.9")), client}}));
}

} // namespace
} // namespace corvane
