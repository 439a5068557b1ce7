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

// After a crash or a failed save the table may have forgotten a device that still uses its
// address, so for a while a free address is offered only once a probe found nobody on it.
TEST(Discover, FreeAddressesAreProbedWhileTheTableIsDistrusted) {
    struct Case {
        const char* rule;
        std::optional<TimePoint> until;
        bool probing;
        std::vector<std::pair<std::uint8_t, bool>> probes;
        std::variant<std::uint8_t, ProbeAddress, NoAction> outcome;
    };
    const auto later = std::optional(now + 3600s);
    const Case cases[] = {
        {"a trusted table", std::nullopt, true, {}, std::uint8_t{101}},
        {"a distrusted table", later, true, {}, ProbeAddress{lan(101)}},
        {"nobody answered", later, true, {{101, false}}, std::uint8_t{101}},
        {"a device answered", later, true, {{101, true}}, ProbeAddress{lan(102)}},
        {"the while has passed", now, true, {}, std::uint8_t{101}},
        {"no probing", later, false, {}, std::uint8_t{101}},
        {"five answers",
         later,
         true,
         {{101, true}, {102, true}, {103, true}, {104, true}, {105, true}},
         NoAction{}},
    };
    const LeaseTable table({leaseOf(other, 100, State::bound, 600s)}, {});
    for (const auto& [rule, until, probing, probes, outcome] : cases) {
        SCOPED_TRACE(rule);
        auto context = contextOf(table);
        context.probeFreeAddressesUntil = until;
        context.probingAvailable = probing;
        for (const auto& [host, answered] : probes) {
            context.probes[lan(host)] = answered;
        }
        const auto decision = decide(discover(), context);
        if (const auto* host = std::get_if<std::uint8_t>(&outcome)) {
            ASSERT_NE(replyOf(decision), nullptr);
            EXPECT_EQ(replyOf(decision)->ip, lan(*host));
        } else if (const auto* probe = std::get_if<ProbeAddress>(&outcome)) {
            EXPECT_EQ(decision.action, DecisionAction{*probe});
            EXPECT_EQ(decision.table, table);
        } else {
            EXPECT_EQ(decision.notes, Notes{dropped(texts::noQuietAddress)});
        }
    }
}

// A flood of strangers fills the table up to its bound; a new client then takes the room of
// a record that holds nothing, the least recently seen first, and never that of a lease.
TEST(Discover, AFullTableMakesRoomOnlyFromRecordsThatHoldNothing) {
    const auto limit = LeaseTable::recordLimit(testConfig().range());
    const auto fullTable = [&](std::vector<Lease> spent) {
        std::vector<Lease> records;
        for (std::size_t number = 0; records.size() + spent.size() < limit; ++number) {
            auto lease = leaseOf(device(0), 0, State::bound, 600s);
            lease.mac = MACAddress(MACAddress::ByteArray{0x02, 0, 0, 0,
                                                         static_cast<std::uint8_t>(number / 256),
                                                         static_cast<std::uint8_t>(number % 256)});
            lease.ip = IPv4Address(10, 0, static_cast<std::uint8_t>(number / 256),
                                   static_cast<std::uint8_t>(number % 256));
            records.push_back(lease);
        }
        records.insert(records.begin() + 7, spent.begin(), spent.end());
        return LeaseTable(records, {});
    };
    const auto lapsedOffer = leaseOf(device(1), 100, State::offered, -1s);
    const auto oldRelease = leaseOf(device(2), 101, State::released, -1s, 900s);
    const auto newRelease = leaseOf(device(3), 102, State::released, -1s, 10s);
    const std::tuple<const char*, std::vector<Lease>, std::vector<MACAddress>> cases[] = {
        {"only active leases", {}, {}},
        {"a lapsed offer", {lapsedOffer, newRelease}, {device(1)}},
        {"two releases", {newRelease, oldRelease}, {device(2)}},
    };
    for (const auto& [rule, spent, removed] : cases) {
        SCOPED_TRACE(rule);
        const auto decision = decide(discover(), fullTable(spent));
        if (removed.empty()) {
            EXPECT_EQ(decision.notes, Notes{dropped(texts::tableFull)});
            EXPECT_FALSE(decision.table.lease(client));
            continue;
        }
        ASSERT_NE(replyOf(decision), nullptr);
        EXPECT_EQ(decision.table.leases().size(), limit);
        for (const auto& mac : removed) {
            EXPECT_FALSE(decision.table.lease(mac));
            EXPECT_TRUE(decision.table.changes().marked.contains(mac));
        }
    }
}

} // namespace
} // namespace corvane
