#include "tests/responder/responder_fixtures.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;

// RFC 2131 section 4.3.2 tells the client states apart by option 54 and ciaddr.
ClientPacket request() {
    return ClientPacket(DHCPMessageType::request);
}
ClientPacket selecting(std::uint8_t host) {
    return request().requesting(lan(host)).toServer(server);
}
ClientPacket rebooting(std::uint8_t host) {
    return request().requesting(lan(host));
}
ClientPacket renewing(std::uint8_t host) {
    return request().from(lan(host));
}

// A REQUEST comes to an ACK for `acked` or to a NAK with `nakReason`.
struct Outcome {
    std::optional<std::uint8_t> acked;
    std::string_view nakReason;
};
Outcome ack(std::uint8_t host) {
    return {host, {}};
}
Outcome nak(std::string_view reason) {
    return {std::nullopt, reason};
}

struct RequestCase {
    const char* rule;
    ClientPacket packet;
    Outcome outcome;
    LeaseTable before = {};
    ServerConfig config = testConfig();
};

void expectOutcome(const RequestCase& item) {
    SCOPED_TRACE(item.rule);
    const auto decision = decide(item.packet, item.before, item.config);
    const auto* reply = replyOf(decision);
    ASSERT_NE(reply, nullptr);
    if (!item.outcome.acked) {
        EXPECT_EQ(reply->type, DHCPMessageType::nak);
        EXPECT_EQ(reply->note, std::string(item.outcome.nakReason));
        EXPECT_EQ(decision.table.leases(), item.before.leases());
        EXPECT_FALSE(decision.tableChanged);
        EXPECT_TRUE(decision.notes.empty());
        return;
    }
    const auto acked = lan(*item.outcome.acked);
    EXPECT_EQ(reply->type, DHCPMessageType::ack);
    EXPECT_EQ(reply->packet.yiaddr, acked);
    EXPECT_EQ(reply->ip, acked);
    EXPECT_EQ(reply->note, "lease 1 h");
    const auto bound = decision.table.lease(client).value_or(Lease{});
    EXPECT_EQ(std::tuple(bound.ip, bound.state, bound.expiresAt),
              std::tuple(acked, State::bound, now + 3600s));
    EXPECT_TRUE(decision.tableChanged);
    ASSERT_FALSE(decision.notes.empty());
    EXPECT_EQ(decision.notes.back(), ServerEvent{ServerEvent::LeaseChanged{bound}});
}

LeaseTable holding(const Lease& lease) {
    return LeaseTable({lease}, {});
}
LeaseTable quarantining(std::uint8_t host, TimePoint until) {
    return LeaseTable({}, {{lan(host), until, other}});
}

// One row per client state and rule, in the order the rules are checked.
TEST(Request, AcksOrNaksByTheClientsState) {
    auto serverInRange = testConfig();
    serverInRange.serverIP = lan(105);
    const auto ownOffer = holding(leaseOf(client, 100, State::offered, 60s));
    const auto othersOffer = holding(leaseOf(other, 100, State::offered, 60s));
    const auto unavailable = nak(texts::requestedNotAvailable);
    const auto lapsed = leaseOf(client, 103, State::bound, -10s);
    const RequestCase cases[] = {
        {"selecting: the client's own offer", selecting(100), ack(100), ownOffer},
        {"selecting: a free address needs no offer first", selecting(106), ack(106)},
        {"selecting: neither option 50 nor ciaddr", request().toServer(server),
         nak(texts::noRequestedAddress)},
        {"selecting: another client's offer", selecting(100), unavailable, othersOffer},
        {"selecting: a quarantined address", selecting(103), unavailable,
         quarantining(103, now + 1s)},
        {"init-reboot: another network", request().requesting({10, 9, 9, 9}),
         nak(texts::notOnThisNetwork)},
        {"init-reboot: the server's own address",
         rebooting(105),
         nak(texts::outsideRange),
         {},
         serverInRange},
        {"init-reboot: declined, within the quarantine", rebooting(105),
         nak(texts::declinedRecently), quarantining(105, now + 1s)},
        {"init-reboot: held by another device", rebooting(105), nak(texts::inUseByAnotherDevice),
         holding(leaseOf(other, 105, State::bound, 1s))},
        {"init-reboot: another device's expired lease", rebooting(105), ack(105),
         holding(leaseOf(other, 105, State::bound, 0s))},
        {"renewing: its own lapsed lease on a free address", renewing(103), ack(103),
         holding(lapsed)},
        {"renewing: an address another device took meanwhile", renewing(103),
         nak(texts::notAvailableForRenewal),
         LeaseTable({lapsed, leaseOf(other, 103, State::bound, 10s)}, {})},
    };
    for (const auto& item : cases) {
        expectOutcome(item);
    }
}

TEST(RequestSelecting, NamingAnotherServerGivesBackTheOfferAndRaisesANotice) {
    const auto otherServer = lan(254);
    const auto packet = request().requesting(lan(100)).toServer(otherServer);
    const auto offered = leaseOf(client, 100, State::offered, 60s);
    const auto othersOffer = leaseOf(other, 101, State::offered, 60s);

    const auto decision = decide(packet, LeaseTable({offered, othersOffer}, {}));

    auto released = offered;
    released.state = State::released;
    released.expiresAt = now;
    EXPECT_EQ(decision.action, DecisionAction{NoAction{}});
    EXPECT_EQ(decision.table.leases(), (std::vector<Lease>{released, othersOffer}));
    EXPECT_FALSE(decision.tableChanged);
    const ServerEvent chose = ServerEvent::Info{texts::choseAnotherServer(client, otherServer)};
    const ServerEvent notice = ServerEvent::NoticeRaised{Notice::otherServer(otherServer)};
    EXPECT_EQ(decision.notes, (Notes{ServerEvent::LeaseChanged{released}, chose, notice}));
}

} // namespace
} // namespace corvane
