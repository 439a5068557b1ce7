#include "tests/responder/responder_fixtures.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;

ClientPacket discover() {
    return ClientPacket(DHCPMessageType::discover).vendor("acme-camera 2.1");
}

// What the responder keeps of the client's own options in its lease.
Lease withClientDetails(Lease lease) {
    lease.hostname = std::string(ClientPacket::hostname);
    lease.vendorClass = "acme-camera 2.1";
    lease.clientID = "01:02:00:5e:00:00:c1";
    return lease;
}

TEST(Discover, OffersTheLowestFreeAddressAndHoldsItForAMinute) {
    const auto decision = decide(discover());

    const auto offered = withClientDetails(leaseOf(client, 100, State::offered, 60s));
    EXPECT_EQ(decision.table, LeaseTable({offered}, {}));
    EXPECT_TRUE(decision.tableChanged);
    EXPECT_EQ(decision.notes, Notes{ServerEvent::LeaseChanged{offered}});
    const auto* reply = replyOf(decision);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(*reply, (Reply{reply->packet, ReplyDestination::broadcast(), DHCPMessageType::offer,
                             offered.ip, client, std::nullopt}));
}

// The order of preference is the allocation's own (tests/leases); the usable-address rules
// are shared with REQUEST (request_test.cpp), except for the server's own address, which
// validation refuses in a range but the responder must not lend even then.
TEST(Discover, HonoursTheRequestedAddressButNeverTheServersOwn) {
    auto serverInRange = testConfig();
    serverInRange.serverIP = lan(105);
    for (const auto& [config, offered] :
         {std::pair{testConfig(), lan(105)}, {serverInRange, lan(100)}}) {
        const auto decision = decide(discover().requesting(lan(105)), LeaseTable(), config);
        ASSERT_NE(replyOf(decision), nullptr);
        EXPECT_EQ(replyOf(decision)->ip, offered);
        EXPECT_EQ(holderOf(decision.table, offered), client);
    }
}

TEST(Discover, ARediscoveringClientKeepsItsBindingOrGetsAFreshMinuteOnItsOffer) {
    const auto bound = leaseOf(client, 104, State::bound, 1000s, 300s);
    auto seen = bound;
    seen.lastSeen = now;
    const auto offered = leaseOf(client, 104, State::offered, 30s, 30s);
    auto reoffered = withClientDetails(offered);
    reoffered.expiresAt = now + 60s;
    reoffered.lastSeen = now;
    // A newer sighting of a bound client alone is not worth a save.
    const std::tuple<Lease, Lease, Notes> cases[] = {
        {bound, seen, {}},
        {offered, reoffered, {ServerEvent::LeaseChanged{reoffered}}},
    };
    for (const auto& [before, after, notes] : cases) {
        SCOPED_TRACE(leaseStateName(before.state));
        const auto decision = decide(discover(), LeaseTable({before}, {}));
        EXPECT_EQ(decision.table, LeaseTable({after}, {}));
        EXPECT_EQ(decision.tableChanged, !notes.empty());
        EXPECT_EQ(decision.notes, notes);
        ASSERT_NE(replyOf(decision), nullptr);
        EXPECT_EQ(replyOf(decision)->ip, lan(104));
    }
}

// Five absent bound holders at .100 to .104 (the longest unseen first) and a fresh offer at
// .105 fill a six-address pool.
TEST(Discover, AFullPoolProbesAbsentHoldersFiveAtMostAndPresentOnesExhaustIt) {
    auto config = testConfig();
    config.rangeEnd = lan(105);
    std::vector<Lease> holders;
    for (std::uint8_t host = 0; host < 5; ++host) {
        holders.push_back(leaseOf(device(host), 100 + host, State::bound, 600s,
                                  std::chrono::seconds{900 - host}));
    }
    holders.push_back(leaseOf(device(5), 105, State::offered, 30s));
    struct Case {
        const char* rule;
        std::vector<std::uint8_t> answeredProbes;
        DecisionAction action;
        // Seen online (.100 in conflict) by the presence monitor.
        bool present = false;
    };
    const Case cases[] = {
        {"the longest-unseen holder is probed first", {}, ProbeAddress{lan(100)}},
        {"a holder that answered is skipped for the next", {100}, ProbeAddress{lan(101)}},
        {"the fifth probe is still allowed", {100, 101, 102, 103}, ProbeAddress{lan(104)}},
        {"after five probes the rest count as present", {100, 101, 102, 103, 110}, NoAction{}},
        {"devices online or in conflict are present; an offer is never probed",
         {},
         NoAction{},
         true},
    };
    for (const auto& item : cases) {
        SCOPED_TRACE(item.rule);
        auto context = contextOf(LeaseTable(holders, {}));
        for (std::uint8_t host = 100; item.present && host <= 104; ++host) {
            context.presence[lan(host)] =
                host == 100 ? PresenceState::conflict : PresenceState::online;
        }
        for (const auto host : item.answeredProbes) {
            context.probes[lan(host)] = true;
        }
        const auto decision = decide(discover(), context, config);
        EXPECT_EQ(decision.action, item.action);
        const bool exhausted = std::holds_alternative<NoAction>(item.action);
        EXPECT_EQ(decision.notes, exhausted ? Notes{dropped(texts::poolExhausted)} : Notes{});
        EXPECT_EQ(decision.table, context.table);
        EXPECT_FALSE(decision.tableChanged);
    }
}

} // namespace
} // namespace corvane
