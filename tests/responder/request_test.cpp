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

// What a REQUEST should come to: an ACK for `acked`, or a NAK with `nakReason`.
struct Outcome {
    std::optional<const char*> acked;
    std::string_view nakReason;
};
Outcome ack(const char* address) {
    return {address, {}};
}
Outcome nak(std::string_view reason) {
    return {std::nullopt, reason};
}

struct RequestCase {
    const char* rule;
    std::vector<Lease> leases;
    ClientPacket packet;
    Outcome outcome;
    std::vector<Quarantine> quarantine = {};
};

ClientPacket request() {
    return ClientPacket(DHCPMessageType::request, client);
}

void expectOutcome(const RequestCase& item) {
    SCOPED_TRACE(item.rule);
    const auto packet = item.packet.wire();
    const LeaseTable before(item.leases, item.quarantine);
    const auto decision = Responder(testConfig()).decide(packet, contextOf(before));
    const auto* reply = replyOf(decision);
    ASSERT_NE(reply, nullptr);
    if (!item.outcome.acked) {
        ASSERT_EQ(reply->type, DHCPMessageType::nak);
        EXPECT_EQ(reply->note, std::string(item.outcome.nakReason));
        EXPECT_EQ(decision.table.leases(), before.leases());
        EXPECT_FALSE(decision.tableChanged);
        EXPECT_TRUE(decision.notes.empty());
        return;
    }
    const auto acked = ip(*item.outcome.acked);
    ASSERT_EQ(reply->type, DHCPMessageType::ack);
    EXPECT_EQ(reply->packet.yiaddr, acked);
    EXPECT_EQ(reply->ip, acked);
    EXPECT_EQ(reply->note, "lease 1 h");
    const auto bound = decision.table.lease(client);
    ASSERT_TRUE(bound);
    EXPECT_EQ(bound->ip, acked);
    EXPECT_EQ(bound->state, State::bound);
    EXPECT_EQ(bound->expiresAt, now + 3600s);
    EXPECT_TRUE(decision.tableChanged);
    EXPECT_EQ(decision.notes.back(), ServerEvent{ServerEvent::LeaseChanged{*bound}});
}

TEST(RequestSelecting, AcceptsItsOwnOfferOrAFreeAddress) {
    const RequestCase cases[] = {
        {"the client's own offer is acknowledged",
         {leaseOf(client, "192.168.2.100", State::offered, 60s)},
         request().requesting(ip("192.168.2.100")).toServer(server),
         ack("192.168.2.100")},
        {"a free address needs no offer first",
         {},
         request().requesting(ip("192.168.2.106")).toServer(server),
         ack("192.168.2.106")},
        {"ciaddr stands in for a missing option 50",
         {},
         request().from(ip("192.168.2.104")).toServer(server),
         ack("192.168.2.104")},
        {"neither option 50 nor ciaddr",
         {},
         request().toServer(server),
         nak(texts::noRequestedAddress)},
        {"an address another client holds",
         {leaseOf(other, "192.168.2.100", State::offered, 60s)},
         request().requesting(ip("192.168.2.100")).toServer(server),
         nak(texts::requestedNotAvailable)},
        {"an address outside the range",
         {},
         request().requesting(ip("192.168.2.50")).toServer(server),
         nak(texts::requestedNotAvailable)},
        {"a quarantined address",
         {},
         request().requesting(ip("192.168.2.103")).toServer(server),
         nak(texts::requestedNotAvailable),
         {{ip("192.168.2.103"), now + 1s, other}}},
    };
    for (const auto& item : cases) {
        expectOutcome(item);
    }
}

TEST(RequestSelecting, NamingAnotherServerGivesBackTheOfferAndRaisesANotice) {
    const auto otherServer = ip("192.168.2.254");
    const auto packet = request().requesting(ip("192.168.2.100")).toServer(otherServer).wire();
    const auto offered = leaseOf(client, "192.168.2.100", State::offered, 60s);
    const LeaseTable table({offered, leaseOf(other, "192.168.2.101", State::offered, 60s)}, {});

    const auto decision = Responder(testConfig()).decide(packet, contextOf(table));

    auto released = offered;
    released.state = State::released;
    released.expiresAt = now;
    EXPECT_EQ(decision.action, DecisionAction{NoAction{}});
    EXPECT_EQ(decision.table.leases(), (std::vector<Lease>{released, table.leases()[1]}));
    EXPECT_FALSE(decision.tableChanged);
    EXPECT_EQ(decision.notes,
              (Notes{ServerEvent::LeaseChanged{released},
                     ServerEvent::Info{texts::choseAnotherServer(client, otherServer)},
                     ServerEvent::NoticeRaised{Notice::otherServer(otherServer)}}));

    const auto bound = leaseOf(client, "192.168.2.100", State::bound, 600s);
    const auto boundDecision =
        Responder(testConfig()).decide(packet, contextOf(LeaseTable({bound}, {})));
    EXPECT_EQ(boundDecision.table.leases(), std::vector<Lease>{bound});
    EXPECT_EQ(boundDecision.notes.size(), 2u);
}

TEST(RequestInitReboot, ChecksTheRememberedAddressInOrder) {
    const RequestCase cases[] = {
        {"no option 50", {}, request(), nak(texts::noRequestedAddress)},
        {"another network", {}, request().requesting(ip("10.9.9.9")), nak(texts::notOnThisNetwork)},
        {"this network but outside the range",
         {},
         request().requesting(ip("192.168.2.50")),
         nak(texts::outsideRange)},
        {"the server's own address", {}, request().requesting(server), nak(texts::outsideRange)},
        {"declined within the quarantine",
         {},
         request().requesting(ip("192.168.2.105")),
         nak(texts::declinedRecently),
         {{ip("192.168.2.105"), now + 1s, other}}},
        {"the quarantine ends at its until",
         {},
         request().requesting(ip("192.168.2.105")),
         ack("192.168.2.105"),
         {{ip("192.168.2.105"), now, other}}},
        {"held by another device",
         {leaseOf(other, "192.168.2.105", State::bound, 1s)},
         request().requesting(ip("192.168.2.105")),
         nak(texts::inUseByAnotherDevice)},
        {"another device's expired lease does not hold it",
         {leaseOf(other, "192.168.2.105", State::bound, 0s)},
         request().requesting(ip("192.168.2.105")),
         ack("192.168.2.105")},
        {"the client's own lease",
         {leaseOf(client, "192.168.2.105", State::bound, 100s)},
         request().requesting(ip("192.168.2.105")),
         ack("192.168.2.105")},
    };
    for (const auto& item : cases) {
        expectOutcome(item);
    }
}

TEST(RequestRenewing, ExtendsALeaseTheClientStillHoldsOrThatIsFree) {
    const RequestCase cases[] = {
        {"the client's own bound lease",
         {leaseOf(client, "192.168.2.103", State::bound, 10s)},
         request().from(ip("192.168.2.103")),
         ack("192.168.2.103")},
        {"an expired lease whose address is still free",
         {leaseOf(client, "192.168.2.103", State::bound, -10s)},
         request().from(ip("192.168.2.103")),
         ack("192.168.2.103")},
        {"an address another device took meanwhile",
         {leaseOf(client, "192.168.2.103", State::bound, -10s),
          leaseOf(other, "192.168.2.103", State::bound, 10s)},
         request().from(ip("192.168.2.103")),
         nak(texts::notAvailableForRenewal)},
        {"an address outside the range",
         {},
         request().from(ip("192.168.2.20")),
         nak(texts::notAvailableForRenewal)},
    };
    for (const auto& item : cases) {
        expectOutcome(item);
    }
}

TEST(RequestRenewing, AcksUnicastToTheClientAndNaksByBroadcast) {
    const auto current = ip("192.168.2.103");
    const auto renewed =
        Responder(testConfig())
            .decide(
                request().from(current).wire(),
                contextOf(LeaseTable({leaseOf(client, "192.168.2.103", State::bound, 10s)}, {})));
    ASSERT_NE(replyOf(renewed), nullptr);
    EXPECT_EQ(replyOf(renewed)->destination, ReplyDestination::unicast(current));
    EXPECT_EQ(replyOf(renewed)->packet.ciaddr, current);

    const auto refused =
        Responder(testConfig())
            .decide(
                request().from(current).wire(),
                contextOf(LeaseTable({leaseOf(other, "192.168.2.103", State::bound, 10s)}, {})));
    const auto* nak = replyOf(refused);
    ASSERT_NE(nak, nullptr);
    EXPECT_EQ(nak->destination, ReplyDestination::broadcast());
    EXPECT_EQ(nak->ip, current);
    EXPECT_EQ(nak->mac, client);
    EXPECT_EQ(nak->packet.op, 2);
    EXPECT_EQ(nak->packet.ciaddr, IPv4Address::zero);
    EXPECT_EQ(nak->packet.yiaddr, IPv4Address::zero);
    EXPECT_EQ(nak->packet.options,
              (std::vector<DHCPOptionField>{
                  {53, {6}}, {54, {192, 168, 2, 1}}, {56, text(texts::notAvailableForRenewal)}}));
}

} // namespace
} // namespace corvane
