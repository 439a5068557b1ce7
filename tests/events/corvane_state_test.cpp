#include <functional>

#include <gtest/gtest.h>

#include "core/events/corvane_state.hpp"
#include "tests/events/event_test_values.hpp"

namespace corvane {
namespace {

using testing::leaseFor;
using testing::macEndingIn;
using testing::secondsAfterEpoch;

const IPv4Address leasedIP(192, 168, 0, 100);
const TimePoint someTime = secondsAfterEpoch(1'740'000'100);

ServerEvent sent(DHCPMessageType type, std::uint8_t macLast, IPv4Address ip) {
    return ServerEvent::Sent{
        SentSummary{type, ip, macEndingIn(macLast), ReplyDestination::broadcast(), "eth1", {}}};
}

CorvaneState applied(const std::vector<ServerEvent>& events) {
    CorvaneState state;
    for (const auto& event : events) {
        state.apply(event, someTime);
    }
    return state;
}

TEST(CorvaneStateDeviceFound, NeedsAnAckForTheAddressTheLeaseHolds) {
    const auto lease = leaseFor(1, leasedIP);
    auto renewed = lease;
    renewed.expiresAt += std::chrono::hours(1);
    const auto otherLease = leaseFor(2, {192, 168, 0, 101});

    struct Case {
        const char* rule;
        std::vector<ServerEvent> events;
        std::optional<Lease> found;
    };
    const Case cases[] = {
        {"an ACK for the leased address finds the device",
         {ServerEvent::LeaseChanged{lease}, sent(DHCPMessageType::ack, 1, leasedIP)},
         lease},
        {"an OFFER alone never finds it",
         {ServerEvent::LeaseChanged{lease}, sent(DHCPMessageType::offer, 1, leasedIP)},
         std::nullopt},
        {"an ACK without any lease finds nothing",
         {sent(DHCPMessageType::ack, 1, leasedIP)},
         std::nullopt},
        {"an ACK for another address than the lease's finds nothing",
         {ServerEvent::LeaseChanged{lease},
          sent(DHCPMessageType::ack, 1, IPv4Address(192, 168, 0, 150))},
         std::nullopt},
        {"an ACK for another client's address finds nothing",
         {ServerEvent::LeaseChanged{lease}, ServerEvent::LeaseChanged{otherLease},
          sent(DHCPMessageType::ack, 1, otherLease.ip)},
         std::nullopt},
        {"a later lease change for the same MAC refreshes it",
         {ServerEvent::LeaseChanged{lease}, sent(DHCPMessageType::ack, 1, leasedIP),
          ServerEvent::LeaseChanged{renewed}},
         renewed},
        {"a lease change for another MAC leaves it",
         {ServerEvent::LeaseChanged{lease}, sent(DHCPMessageType::ack, 1, leasedIP),
          ServerEvent::LeaseChanged{otherLease}},
         lease},
        {"removing its lease forgets it",
         {ServerEvent::LeaseChanged{lease}, sent(DHCPMessageType::ack, 1, leasedIP),
          ServerEvent::LeaseRemoved{lease.mac}},
         std::nullopt},
        {"removing another lease leaves it",
         {ServerEvent::LeaseChanged{lease}, ServerEvent::LeaseChanged{otherLease},
          sent(DHCPMessageType::ack, 1, leasedIP), ServerEvent::LeaseRemoved{otherLease.mac}},
         lease},
        {"a NAK after finding it changes nothing",
         {ServerEvent::LeaseChanged{lease}, sent(DHCPMessageType::ack, 1, leasedIP),
          sent(DHCPMessageType::nak, 1, IPv4Address::zero)},
         lease},
        {"a stop keeps the found device on screen",
         {ServerEvent::LeaseChanged{lease}, sent(DHCPMessageType::ack, 1, leasedIP),
          ServerEvent::Stopped{}},
         lease},
    };
    for (const auto& [rule, events, found] : cases) {
        EXPECT_EQ(applied(events).deviceFound, found) << rule;
    }
}

TEST(CorvaneStateEvents, EachCaseChangesOnlyItsOwnField) {
    const auto lease = leaseFor(1, leasedIP);
    CorvaneState before;
    before.runStarted("eth1");
    before.apply(ServerEvent::LeaseChanged{lease}, someTime);

    const auto later = someTime + std::chrono::seconds(5);
    struct Case {
        const char* rule;
        ServerEvent event;
        std::function<void(CorvaneState&)> expectedChange;
    };
    const Case cases[] = {
        {"started names the card", ServerEvent::Started{"eth2", ServerConfig::defaultConfig()},
         [](CorvaneState& state) { state.serverInterface = "eth2"; }},
        {"received stamps the time", ServerEvent::Received{PacketSummary()},
         [&](CorvaneState& state) { state.lastPacketAt = later; }},
        {"presence records the state by address",
         ServerEvent::Presence{leasedIP, lease.mac, PresenceState::online, "ping"},
         [](CorvaneState& state) { state.presence[leasedIP] = PresenceState::online; }},
        {"a notice is raised by kind", ServerEvent::NoticeRaised{Notice::linkDown("eth1")},
         [](CorvaneState& state) {
             state.notices[NoticeKind::linkDown] = Notice::linkDown("eth1");
         }},
        {"clearing a notice that is not raised changes nothing",
         ServerEvent::NoticeCleared{NoticeKind::portInUse}, [](CorvaneState&) {}},
        {"a lease for a new client is added",
         ServerEvent::LeaseChanged{leaseFor(2, {192, 168, 0, 101})},
         [](CorvaneState& state) {
             state.leases[macEndingIn(2)] = leaseFor(2, {192, 168, 0, 101});
         }},
        {"removing a lease deletes it", ServerEvent::LeaseRemoved{lease.mac},
         [&](CorvaneState& state) { state.leases.erase(lease.mac); }},
        {"dropped changes nothing", ServerEvent::Dropped{"not for us", lease.mac},
         [](CorvaneState&) {}},
        {"link changes nothing", ServerEvent::Link{false, std::nullopt}, [](CorvaneState&) {}},
        {"info changes nothing", ServerEvent::Info{"eth1 is back"}, [](CorvaneState&) {}},
        {"an offer changes nothing", sent(DHCPMessageType::offer, 1, leasedIP),
         [](CorvaneState&) {}},
    };
    for (const auto& [rule, event, expectedChange] : cases) {
        auto state = before;
        state.apply(event, later);
        auto expected = before;
        expectedChange(expected);
        EXPECT_EQ(state, expected) << rule;
    }
}

TEST(CorvaneStateNotices, ANewerNoticeOfAKindReplacesTheOlder) {
    CorvaneState state;
    state.raise(Notice::leaseSaveFailed("disk full"));
    state.apply(ServerEvent::NoticeRaised{Notice::leaseSaveFailed("read-only")}, someTime);
    ASSERT_EQ(state.notices.size(), 1u);
    EXPECT_EQ(state.notices.at(NoticeKind::leaseSaveFailed), Notice::leaseSaveFailed("read-only"));

    state.raise(Notice::linkDown("eth1"));
    state.dismiss(NoticeKind::leaseSaveFailed);
    state.dismiss(NoticeKind::portInUse);
    EXPECT_EQ(state.notices,
              (std::map<NoticeKind, Notice>{{NoticeKind::linkDown, Notice::linkDown("eth1")}}));
    state.apply(ServerEvent::NoticeCleared{NoticeKind::linkDown}, someTime);
    EXPECT_TRUE(state.notices.empty());
}

CorvaneState stateWithEveryNotice() {
    CorvaneState state;
    state.runStarted("eth1");
    const auto lease = leaseFor(1, leasedIP);
    state.apply(ServerEvent::LeaseChanged{lease}, someTime);
    state.apply(sent(DHCPMessageType::ack, 1, leasedIP), someTime);
    state.apply(ServerEvent::Received{PacketSummary()}, someTime);
    state.apply(ServerEvent::Presence{leasedIP, lease.mac, PresenceState::online, "ping"},
                someTime);
    for (const auto kind : allNoticeKinds) {
        state.raise(Notice{kind, "message"});
    }
    return state;
}

TEST(CorvaneStateRun, StoppedDropsOnlyTheLiveParts) {
    auto state = stateWithEveryNotice();
    const auto before = state;
    state.apply(ServerEvent::Stopped{}, someTime + std::chrono::seconds(1));

    std::vector<NoticeKind> kept;
    for (const auto& [kind, notice] : state.notices) {
        kept.push_back(kind);
    }
    EXPECT_EQ(kept, (std::vector<NoticeKind>{NoticeKind::otherServer, NoticeKind::portInUse,
                                             NoticeKind::leaseSaveFailed,
                                             NoticeKind::leaseFileSetAside}));
    EXPECT_TRUE(state.presence.empty());
    EXPECT_EQ(state.serverInterface, std::nullopt);
    EXPECT_EQ(state.leases, before.leases);
    EXPECT_EQ(state.deviceFound, before.deviceFound);
    EXPECT_EQ(state.lastPacketAt, someTime);
}

TEST(CorvaneStateRun, RunStartedClearsEveryNoticeButKeepsLeases) {
    auto state = stateWithEveryNotice();
    state.apply(ServerEvent::Stopped{}, someTime);
    const auto leases = state.leases;
    state.runStarted("eth2");

    CorvaneState expected;
    expected.leases = leases;
    expected.serverInterface = "eth2";
    EXPECT_EQ(state, expected);
}

TEST(CorvaneStateLeases, LoadReplacesTheLeasesKeyedByMAC) {
    CorvaneState state;
    state.apply(ServerEvent::LeaseChanged{leaseFor(9, {192, 168, 0, 199})}, someTime);

    const auto first = leaseFor(1, leasedIP);
    const auto duplicate = leaseFor(1, {192, 168, 0, 150}, Lease::State::released);
    const auto second = leaseFor(2, {192, 168, 0, 101});
    state.loadLeases({LeaseTable({first, second, duplicate}, {}), std::nullopt});

    EXPECT_EQ(state.leases,
              (std::map<MACAddress, Lease>{{first.mac, first}, {second.mac, second}}));
    EXPECT_TRUE(state.notices.empty());
}

TEST(CorvaneStateLeases, ASetAsideFileRaisesItsNotice) {
    CorvaneState state;
    state.loadLeases({LeaseTable(), "/tmp/corvane/leases.json.corrupt-20250301-120000"});
    EXPECT_TRUE(state.leases.empty());
    EXPECT_EQ(state.notices.at(NoticeKind::leaseFileSetAside),
              Notice::leaseFileSetAside("leases.json.corrupt-20250301-120000"));
}

} // namespace
} // namespace corvane
