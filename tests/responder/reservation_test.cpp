#include "tests/responder/responder_fixtures.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;

// The client has .105 inside the range; `other` has .50 outside it.
ServerConfig reservingConfig() {
    auto config = testConfig();
    config.reservations = {{client, lan(105), "camera"}, {other, lan(50), ""}};
    return config;
}

std::optional<IPv4Address> answeredAddress(const Decision& decision) {
    const auto* reply = replyOf(decision);
    if (reply == nullptr || reply->type == DHCPMessageType::nak) {
        return std::nullopt;
    }
    return reply->packet.yiaddr;
}

std::optional<std::string> nakReason(const Decision& decision) {
    const auto* reply = replyOf(decision);
    return reply != nullptr && reply->type == DHCPMessageType::nak ? reply->note : std::nullopt;
}

TEST(Reservations, AReservedDeviceGetsItsAddressInEveryClientState) {
    struct Case {
        const char* name;
        MACAddress mac;
        ClientPacket packet;
        IPv4Address expected;
    };
    const Case cases[] = {
        {"discover inside the range", client, ClientPacket(DHCPMessageType::discover), lan(105)},
        {"discover asking for another", client,
         ClientPacket(DHCPMessageType::discover).requesting(lan(100)), lan(105)},
        {"discover outside the range", other, ClientPacket(DHCPMessageType::discover, other),
         lan(50)},
        {"selecting outside the range", other,
         ClientPacket(DHCPMessageType::request, other).toServer(server).requesting(lan(50)),
         lan(50)},
        {"init-reboot outside the range", other,
         ClientPacket(DHCPMessageType::request, other).requesting(lan(50)), lan(50)},
        {"renewing outside the range", other,
         ClientPacket(DHCPMessageType::request, other).from(lan(50)), lan(50)},
    };
    for (const auto& testCase : cases) {
        const auto decision = decide(testCase.packet, LeaseTable{}, reservingConfig());
        EXPECT_EQ(answeredAddress(decision), testCase.expected) << testCase.name;
        EXPECT_EQ(holderOf(decision.table, testCase.expected), testCase.mac) << testCase.name;
    }
}

TEST(Reservations, AReservedDeviceAskingForAnyOtherAddressIsSentBackToDiscover) {
    LeaseTable table;
    table.upsert(leaseOf(client, 100, State::bound, 1800s));
    for (const auto& packet : {ClientPacket(DHCPMessageType::request).requesting(lan(100)),
                               ClientPacket(DHCPMessageType::request).from(lan(100))}) {
        EXPECT_EQ(nakReason(decide(packet, table, reservingConfig())),
                  std::string(texts::notTheReservedAddress));
    }
}

TEST(Reservations, NoOtherDeviceIsGivenAReservedAddressEvenWhenItIsFree) {
    auto config = testConfig();
    config.reservations = {{other, lan(100), ""}};
    EXPECT_EQ(
        answeredAddress(decide(ClientPacket(DHCPMessageType::discover), LeaseTable{}, config)),
        lan(101));
    EXPECT_EQ(answeredAddress(decide(ClientPacket(DHCPMessageType::discover).requesting(lan(100)),
                                     LeaseTable{}, config)),
              lan(101));
    EXPECT_EQ(nakReason(decide(ClientPacket(DHCPMessageType::request).requesting(lan(100)),
                               LeaseTable{}, config)),
              std::string(texts::reservedForAnotherDevice));
    EXPECT_EQ(nakReason(decide(
                  ClientPacket(DHCPMessageType::request).toServer(server).requesting(lan(100)),
                  LeaseTable{}, config)),
              std::string(texts::requestedNotAvailable));
    // An older lease of the client on the now reserved address is not renewed either.
    LeaseTable table;
    table.upsert(leaseOf(client, 100, State::bound, 1800s));
    EXPECT_EQ(
        nakReason(decide(ClientPacket(DHCPMessageType::request).from(lan(100)), table, config)),
        std::string(texts::reservedForAnotherDevice));
}

TEST(Reservations, AReservedAddressHeldByAnotherDeviceIsTakenOpenly) {
    LeaseTable table;
    table.upsert(leaseOf(device(7), 105, State::bound, 1800s));
    const auto decision = decide(ClientPacket(DHCPMessageType::discover), table, reservingConfig());
    EXPECT_EQ(answeredAddress(decision), lan(105));
    EXPECT_EQ(decision.table.lease(device(7))->state, State::reclaimed);
    EXPECT_TRUE(decision.tableChanged);
    const auto info =
        ServerEvent{ServerEvent::Info{texts::reservedTakenFrom(lan(105), device(7), client)}};
    EXPECT_NE(std::ranges::find(decision.notes, info), decision.notes.end());
}

TEST(Reservations, ARecentlyDeclinedReservedAddressIsNotOfferedAgain) {
    LeaseTable table;
    table.addQuarantine(lan(105), now + 60s, device(9));
    const auto decision = decide(ClientPacket(DHCPMessageType::discover), table, reservingConfig());
    EXPECT_EQ(decision.action, DecisionAction{NoAction{}});
    EXPECT_EQ(decision.notes, Notes{dropped(texts::reservedDeclinedRecently(lan(105)))});
}

} // namespace
} // namespace corvane
