#include "tests/responder/responder_fixtures.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;

TEST(Decline, QuarantinesAnAddressOnlyForTheClientItWasLentTo) {
    const auto declined = lan(100);
    const ServerEvent conflict = ServerEvent::Info{texts::declined(client, declined, "10 m")};
    const auto othersLease = leaseOf(other, 101, State::bound, 600s);
    const auto othersOnDeclined = leaseOf(other, 100, State::bound, 600s);
    const auto notHeld = dropped(texts::declineNotHeld(declined));
    struct Case {
        const char* rule;
        std::vector<Lease> before;
        IPv4Address ip;
        Notes notes;
    };
    const Case cases[] = {
        {"its bound lease",
         {othersLease, leaseOf(client, 100, State::bound, 600s)},
         declined,
         {ServerEvent::LeaseRemoved{client}, conflict}},
        {"its offer",
         {leaseOf(client, 100, State::offered, 30s)},
         declined,
         {ServerEvent::LeaseRemoved{client}, conflict}},
        // A DECLINE from any other sender quarantines nothing: responder_fuzz for every
        // sender, e2e_hardening (SpoofedDeclines) for the reasons the binary logs.
        {"another device's address", {othersOnDeclined}, declined, {notHeld}},
    };
    for (const auto& [rule, before, ip, notes] : cases) {
        SCOPED_TRACE(rule);
        const auto decision =
            decide(ClientPacket(DHCPMessageType::decline).requesting(ip), {before, {}});
        const bool counts = notes.back() == conflict;
        EXPECT_EQ(decision.action, DecisionAction{NoAction{}});
        EXPECT_EQ(decision.notes, notes);
        EXPECT_EQ(decision.tableChanged, counts);
        if (counts) {
            EXPECT_EQ(decision.table, LeaseTable(std::vector(before.begin(), before.end() - 1),
                                                 {{declined, now + 600s, client}}));
        } else {
            EXPECT_EQ(decision.table, LeaseTable(before, {}));
        }
    }
}

TEST(Release, EndsOnlyTheClientsOwnLeaseAtThisServer) {
    const auto lease = leaseOf(client, 103, State::bound, 600s, 60s);
    auto released = lease;
    released.state = State::released;
    released.expiresAt = released.lastSeen = now;
    const auto release = [](std::uint8_t host) {
        return ClientPacket(DHCPMessageType::release).from(lan(host));
    };
    const ServerEvent otherServer = ServerEvent::Info{texts::releaseForAnotherServer(client)};
    const ServerEvent unknown = ServerEvent::Info{texts::releaseOfUnknownLease(client)};
    const std::tuple<const char*, std::vector<Lease>, ClientPacket, ServerEvent> cases[] = {
        {"its lease at this server",
         {lease},
         release(103).toServer(server),
         ServerEvent::LeaseChanged{released}},
        {"another server's identifier", {lease}, release(103).toServer(lan(254)), otherServer},
        {"another address than the lease's", {lease}, release(104).toServer(server), unknown},
    };
    for (const auto& [rule, leases, packet, note] : cases) {
        SCOPED_TRACE(rule);
        const auto decision = decide(packet, {leases, {}});
        const bool applies = note.is<ServerEvent::LeaseChanged>();
        EXPECT_EQ(decision.action, DecisionAction{NoAction{}});
        EXPECT_EQ(decision.notes, Notes{note});
        EXPECT_EQ(decision.tableChanged, applies);
        EXPECT_EQ(decision.table.leases(), applies ? std::vector<Lease>{released} : leases);
    }
}

// RFC 2131 section 3.4: the answer carries options only, and nothing is lent.
TEST(Inform, AnswersADeviceOnThisNetworkWithoutALease) {
    const auto decision = decide(ClientPacket(DHCPMessageType::inform).from(lan(50)));
    EXPECT_EQ(decision.table, LeaseTable());
    EXPECT_FALSE(decision.tableChanged);
    EXPECT_EQ(decision.notes, Notes{ServerEvent::Info{texts::informAnswered(lan(50), client)}});
    const auto* reply = replyOf(decision);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(reply->type, DHCPMessageType::ack);
    EXPECT_EQ(reply->packet.yiaddr, IPv4Address::zero);
    EXPECT_EQ(reply->note, std::nullopt);
}

} // namespace
} // namespace corvane
