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

// Five absent bound holders at .100 to .104 (the longest unseen first) and a fresh offer at
// .105 fill a six-address pool; an answered probe moves on to the next holder, five at most.
TEST(Discover, AFullPoolProbesAbsentHoldersFiveAtMost) {
    auto config = testConfig();
    config.rangeEnd = lan(105);
    std::vector<Lease> holders;
    for (std::uint8_t host = 0; host < 5; ++host) {
        holders.push_back(leaseOf(device(host), 100 + host, State::bound, 600s,
                                  std::chrono::seconds{900 - host}));
    }
    holders.push_back(leaseOf(device(5), 105, State::offered, 30s));
    const std::pair<std::vector<std::uint8_t>, DecisionAction> cases[] = {
        {{}, ProbeAddress{lan(100)}},
        {{100, 101, 102, 103}, ProbeAddress{lan(104)}},
        {{100, 101, 102, 103, 110}, NoAction{}},
    };
    for (const auto& [answeredProbes, action] : cases) {
        SCOPED_TRACE(answeredProbes.size());
        auto context = contextOf(LeaseTable(holders, {}));
        for (const auto host : answeredProbes) {
            context.probes[lan(host)] = true;
        }
        const auto decision = decide(discover(), context, config);
        EXPECT_EQ(decision.action, action);
        const bool exhausted = std::holds_alternative<NoAction>(action);
        EXPECT_EQ(decision.notes, exhausted ? Notes{dropped(texts::poolExhausted)} : Notes{});
        EXPECT_EQ(decision.table, context.table);
        EXPECT_FALSE(decision.tableChanged);
    }
}

// Without probing nothing can show that a holder has gone, so no unexpired lease is taken,
// however long its device has been silent.
TEST(Discover, AFullPoolWithoutProbingTakesNoUnexpiredLease) {
    auto config = testConfig();
    config.rangeEnd = lan(101);
    const std::vector<Lease> holders = {leaseOf(device(1), 100, State::bound, 1s, 3000s),
                                        leaseOf(device(2), 101, State::bound, 600s, 3000s)};
    auto context = contextOf(LeaseTable(holders, {}));
    context.probingAvailable = false;
    const auto exhausted = decide(discover(), context, config);
    EXPECT_EQ(exhausted.action, DecisionAction{NoAction{}});
    EXPECT_EQ(exhausted.notes, Notes{dropped(texts::poolExhausted)});

    context.now = now + 1s;
    const auto afterExpiry = decide(discover(), context, config);
    ASSERT_NE(replyOf(afterExpiry), nullptr);
    EXPECT_EQ(replyOf(afterExpiry)->ip, lan(100));
}

} // namespace
} // namespace corvane
