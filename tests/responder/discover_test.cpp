#include <gtest/gtest.h>

#include "core/responder/responder_texts.hpp"
#include "tests/responder/client_packet.hpp"
#include "tests/responder/responder_test_support.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;

const MACAddress other = device(0x01);

Decision discover(const DecisionContext& context, std::optional<const char*> requested = {},
                  ServerConfig config = testConfig()) {
    ClientPacket packet(DHCPMessageType::discover, client);
    packet.vendor("acme-camera 2.1");
    if (requested) {
        packet.requesting(ip(*requested));
    }
    const Responder responder(std::move(config));
    auto decision = responder.decide(packet.wire(), context);
    EXPECT_EQ(responder.decide(packet.wire(), DecisionContext(context)), decision)
        << "handing the table over changed the decision";
    return decision;
}

TEST(Discover, OffersTheLowestFreeAddressAndHoldsItForAMinute) {
    const auto decision = discover(contextOf({}));

    Lease offered;
    offered.mac = client;
    offered.ip = ip("192.168.2.100");
    offered.state = State::offered;
    offered.expiresAt = now + 60s;
    offered.hostname = std::string(ClientPacket::hostname);
    offered.vendorClass = "acme-camera 2.1";
    offered.clientID = "01:02:00:5e:00:00:c1";
    offered.firstSeen = now;
    offered.lastSeen = now;
    EXPECT_EQ(decision.table, LeaseTable({offered}, {}));
    EXPECT_TRUE(decision.tableChanged);
    EXPECT_EQ(decision.notes, Notes{ServerEvent::LeaseChanged{offered}});
    const auto* reply = replyOf(decision);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(reply->type, DHCPMessageType::offer);
    EXPECT_EQ(reply->ip, offered.ip);
    EXPECT_EQ(reply->mac, client);
    EXPECT_EQ(reply->destination, ReplyDestination::broadcast());
    EXPECT_EQ(reply->note, std::nullopt);
}

// Only an ACK echoes ciaddr (RFC 2131 table 3); the offer still goes where the client is.
TEST(Discover, AClientThatKnowsItsAddressGetsTheOfferUnicast) {
    const auto current = ip("192.168.2.104");
    const auto decision =
        Responder(testConfig())
            .decide(ClientPacket(DHCPMessageType::discover, client).from(current).wire(),
                    contextOf({}));
    const auto* reply = replyOf(decision);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(reply->destination, ReplyDestination::unicast(current));
    EXPECT_EQ(reply->packet.ciaddr, IPv4Address::zero);
    EXPECT_EQ(reply->ip, ip("192.168.2.100"));
}

TEST(Discover, ChoosesWhichAddressToOffer) {
    struct Case {
        const char* rule;
        LeaseTable table;
        std::optional<const char*> requested;
        const char* offered;
    };
    const Case cases[] = {
        {"a free requested address is honoured", {}, "192.168.2.105", "192.168.2.105"},
        {"a requested address outside the range is passed over",
         {},
         "192.168.2.50",
         "192.168.2.100"},
        {"a quarantined requested address is passed over",
         LeaseTable({}, {{ip("192.168.2.105"), now + 1s, other}}), "192.168.2.105",
         "192.168.2.100"},
        {"a quarantine that ended now no longer holds the address",
         LeaseTable({}, {{ip("192.168.2.105"), now, other}}), "192.168.2.105", "192.168.2.105"},
    };
    for (const auto& item : cases) {
        const auto decision = discover(contextOf(item.table), item.requested);
        const auto* reply = replyOf(decision);
        ASSERT_NE(reply, nullptr) << item.rule;
        EXPECT_EQ(reply->ip, ip(item.offered)) << item.rule;
        EXPECT_EQ(holderOf(decision.table, ip(item.offered)), client) << item.rule;
    }
}

TEST(Discover, ABoundClientThatRediscoversKeepsItsBinding) {
    auto bound = leaseOf(client, "192.168.2.104", State::bound, 1000s, 300s);
    const auto decision = discover(contextOf(LeaseTable({bound}, {})));

    bound.lastSeen = now;
    EXPECT_EQ(decision.table, LeaseTable({bound}, {}));
    EXPECT_FALSE(decision.tableChanged);
    EXPECT_TRUE(decision.notes.empty());
    ASSERT_NE(replyOf(decision), nullptr);
    EXPECT_EQ(replyOf(decision)->ip, bound.ip);
}

TEST(Discover, AnOfferedClientThatRediscoversGetsAFreshMinute) {
    auto offered = leaseOf(client, "192.168.2.104", State::offered, 30s, 30s);
    const auto decision = discover(contextOf(LeaseTable({offered}, {})));

    offered.expiresAt = now + 60s;
    offered.lastSeen = now;
    offered.hostname = std::string(ClientPacket::hostname);
    offered.vendorClass = "acme-camera 2.1";
    offered.clientID = "01:02:00:5e:00:00:c1";
    EXPECT_EQ(decision.table, LeaseTable({offered}, {}));
    EXPECT_TRUE(decision.tableChanged);
}

// A configuration that puts the server inside its own range is refused by validation, but
// the responder must not lend the address even then.
TEST(Discover, TheServersOwnAddressIsNeverLent) {
    auto config = testConfig();
    config.serverIP = ip("192.168.2.100");
    const auto offer = discover(contextOf({}), "192.168.2.100", config);
    ASSERT_NE(replyOf(offer), nullptr);
    EXPECT_EQ(replyOf(offer)->ip, ip("192.168.2.101"));

    const auto reboot = Responder(config).decide(
        ClientPacket(DHCPMessageType::request, client).requesting(config.serverIP).wire(),
        contextOf({}));
    ASSERT_NE(replyOf(reboot), nullptr);
    EXPECT_EQ(replyOf(reboot)->note, std::string(responder_texts::outsideRange));
}

TEST(Discover, APoolHeldByPresentDevicesIsExhausted) {
    auto config = testConfig();
    config.rangeEnd = ip("192.168.2.102");
    const LeaseTable table({leaseOf(device(1), "192.168.2.100", State::bound, 600s),
                            leaseOf(device(2), "192.168.2.101", State::bound, 600s),
                            leaseOf(device(3), "192.168.2.102", State::offered, 30s)},
                           {});
    auto context = contextOf(table);
    context.presence = {{ip("192.168.2.100"), PresenceState::online},
                        {ip("192.168.2.101"), PresenceState::conflict}};

    const auto decision = discover(context, {}, config);

    EXPECT_EQ(decision.action, DecisionAction{NoAction{}});
    EXPECT_EQ(decision.notes,
              (Notes{ServerEvent::Dropped{std::string(responder_texts::poolExhausted), client}}));
    EXPECT_EQ(decision.table, table);
    EXPECT_FALSE(decision.tableChanged);
}

// Five absent holders fill a five-address pool, the longest unseen at .100.
TEST(Discover, AFullPoolProbesAbsentHoldersFiveAtMost) {
    auto config = testConfig();
    config.rangeEnd = ip("192.168.2.104");
    std::vector<Lease> holders;
    for (std::uint8_t host = 0; host < 5; ++host) {
        holders.push_back(leaseOf(device(host), "192.168.2." + std::to_string(100 + host),
                                  State::bound, 600s, std::chrono::seconds{900 - host}));
    }
    struct Case {
        const char* rule;
        std::vector<std::pair<const char*, bool>> probes;
        DecisionAction action;
    };
    const Case cases[] = {
        {"the longest-unseen holder is probed first", {}, ProbeAddress{ip("192.168.2.100")}},
        {"a holder that answered is skipped for the next one",
         {{"192.168.2.100", true}},
         ProbeAddress{ip("192.168.2.101")}},
        {"the fifth probe is still allowed",
         {{"192.168.2.100", true},
          {"192.168.2.101", true},
          {"192.168.2.102", true},
          {"192.168.2.103", true}},
         ProbeAddress{ip("192.168.2.104")}},
        {"after five probes unprobed holders count as present",
         {{"192.168.2.100", true},
          {"192.168.2.101", true},
          {"192.168.2.102", true},
          {"192.168.2.103", true},
          {"192.168.2.110", true}},
         NoAction{}},
    };
    for (const auto& item : cases) {
        auto context = contextOf(LeaseTable(holders, {}));
        for (const auto& [address, answered] : item.probes) {
            context.probes[ip(address)] = answered;
        }
        const auto decision = discover(context, {}, config);
        EXPECT_EQ(decision.action, item.action) << item.rule;
        EXPECT_EQ(decision.table, context.table) << item.rule;
        EXPECT_FALSE(decision.tableChanged) << item.rule;
    }
}

} // namespace
} // namespace corvane
