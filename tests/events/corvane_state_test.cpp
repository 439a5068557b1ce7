#include <functional>

#include <gtest/gtest.h>

#include "core/events/corvane_state.hpp"

namespace corvane {
namespace {

MACAddress macEndingIn(std::uint8_t last) {
    return MACAddress({0x02, 0x00, 0x5e, 0x10, 0x20, last});
}

const TimePoint someTime{std::chrono::seconds(1'740'000'100)};

Lease leaseFor(std::uint8_t macLast, IPv4Address ip, Lease::State state = Lease::State::bound) {
    Lease lease;
    lease.mac = macEndingIn(macLast);
    lease.ip = ip;
    lease.state = state;
    lease.firstSeen = lease.lastSeen = someTime - std::chrono::seconds(100);
    lease.expiresAt = lease.firstSeen + std::chrono::hours(24);
    return lease;
}

const IPv4Address leasedIP(192, 168, 0, 100);
const Lease lease = leaseFor(1, leasedIP);
const Lease otherLease = leaseFor(2, {192, 168, 0, 101});

ServerEvent sent(DHCPMessageType type, IPv4Address ip) {
    return ServerEvent::Sent{
        SentSummary{type, ip, macEndingIn(1), ReplyDestination::broadcast(), "eth1", {}}};
}

CorvaneState applied(const std::vector<ServerEvent>& events, CorvaneState state = {}) {
    for (const auto& event : events) {
        state.apply(event, someTime);
    }
    return state;
}

TEST(CorvaneStateDeviceFound, NeedsAnAckForTheAddressTheLeaseHolds) {
    auto renewed = lease;
    renewed.expiresAt += std::chrono::hours(1);
    const ServerEvent leased = ServerEvent::LeaseChanged{lease};
    const ServerEvent otherLeased = ServerEvent::LeaseChanged{otherLease};
    const ServerEvent refreshed = ServerEvent::LeaseChanged{renewed};
    const ServerEvent removed = ServerEvent::LeaseRemoved{lease.mac};
    const auto acked = sent(DHCPMessageType::ack, leasedIP);
    const auto offered = sent(DHCPMessageType::offer, leasedIP);
    const auto ackedElsewhere = sent(DHCPMessageType::ack, {192, 168, 0, 150});
    const auto ackedOthers = sent(DHCPMessageType::ack, otherLease.ip);
    struct Case {
        const char* rule;
        std::vector<ServerEvent> events;
        std::optional<Lease> found;
    };
    const Case cases[] = {
        {"an ACK for the leased address finds the device", {leased, acked}, lease},
        {"an OFFER alone never finds it", {leased, offered}, {}},
        {"an ACK for another address than the lease's", {leased, ackedElsewhere}, {}},
        {"an ACK for another client's address", {leased, otherLeased, ackedOthers}, {}},
        {"a later lease change for the same MAC refreshes it", {leased, acked, refreshed}, renewed},
        {"removing its lease forgets it", {leased, acked, removed}, {}},
    };
    for (const auto& [rule, events, found] : cases) {
        EXPECT_EQ(applied(events).deviceFound, found) << rule;
    }
}

TEST(CorvaneStateEvents, EachCaseChangesOnlyItsOwnFieldAndNoticesAreKeyedByKind) {
    CorvaneState before;
    before.runStarted("eth1");
    before.apply(ServerEvent::LeaseChanged{lease}, someTime);
    before.raise(Notice::leaseSaveFailed("disk full"));
    const auto later = someTime + std::chrono::seconds(5);
    const auto nothing = [](CorvaneState&) {};
    const std::pair<ServerEvent, std::function<void(CorvaneState&)>> cases[] = {
        {ServerEvent::Started{"eth2", ServerConfig::defaultConfig()},
         [](auto& state) { state.serverInterface = "eth2"; }},
        {ServerEvent::Received{PacketSummary()}, [&](auto& state) { state.lastPacketAt = later; }},
        {ServerEvent::Presence{leasedIP, lease.mac, PresenceState::online, "ping"},
         [](auto& state) { state.presence[leasedIP] = PresenceState::online; }},
        {ServerEvent::NoticeRaised{Notice::leaseSaveFailed("read-only")},
         [](auto& state) {
             state.notices[NoticeKind::leaseSaveFailed] = Notice::leaseSaveFailed("read-only");
         }},
        {ServerEvent::NoticeCleared{NoticeKind::leaseSaveFailed},
         [](auto& state) { state.notices.clear(); }},
        {ServerEvent::NoticeCleared{NoticeKind::portInUse}, nothing},
        {ServerEvent::LeaseChanged{otherLease},
         [](auto& state) { state.leases[otherLease.mac] = otherLease; }},
        {ServerEvent::LeaseRemoved{lease.mac}, [](auto& state) { state.leases.erase(lease.mac); }},
        {ServerEvent::Dropped{"not for us", lease.mac}, nothing},
        {sent(DHCPMessageType::offer, leasedIP), nothing},
    };
    for (const auto& [event, expectedChange] : cases) {
        auto state = before;
        state.apply(event, later);
        auto expected = before;
        expectedChange(expected);
        EXPECT_EQ(state, expected) << "event #" << event.value().index();
    }
    auto dismissed = before;
    dismissed.dismiss(NoticeKind::leaseSaveFailed);
    EXPECT_TRUE(dismissed.notices.empty());
}

TEST(CorvaneStateRun, StoppedDropsOnlyTheLiveRunAndRunStartedKeepsOnlyLeases) {
    CorvaneState running;
    running.runStarted("eth1");
    running = applied({ServerEvent::LeaseChanged{lease}, sent(DHCPMessageType::ack, leasedIP),
                       ServerEvent::Received{PacketSummary()},
                       ServerEvent::Presence{leasedIP, lease.mac, PresenceState::online, "ping"}},
                      running);
    for (const auto kind : allNoticeKinds) {
        running.raise(Notice{kind, "message"});
    }

    auto stopped = running;
    stopped.apply(ServerEvent::Stopped{}, someTime + std::chrono::seconds(1));
    auto expected = running;
    for (const auto kind :
         {NoticeKind::linkDown, NoticeKind::adapterUnplugged, NoticeKind::localNetworkDenied}) {
        expected.notices.erase(kind);
    }
    expected.presence.clear();
    expected.serverInterface.reset();
    EXPECT_EQ(stopped, expected);

    stopped.runStarted("eth2");
    CorvaneState restarted;
    restarted.leases = running.leases;
    restarted.serverInterface = "eth2";
    EXPECT_EQ(stopped, restarted);
}

TEST(CorvaneStateLeases, LoadReplacesTheLeasesKeyedByMACAndReportsASetAsideFile) {
    auto state = applied({ServerEvent::LeaseChanged{leaseFor(9, {192, 168, 0, 199})}});
    const auto duplicate = leaseFor(1, {192, 168, 0, 150}, Lease::State::released);
    state.loadLeases({LeaseTable({lease, otherLease, duplicate}, {}), std::nullopt, {}});
    EXPECT_EQ(state.leases,
              (std::map<MACAddress, Lease>{{lease.mac, lease}, {otherLease.mac, otherLease}}));
    EXPECT_TRUE(state.notices.empty());

    state.loadLeases({LeaseTable(), "/tmp/corvane/leases.json.corrupt-20250301-120000", {}});
    EXPECT_TRUE(state.leases.empty());
    EXPECT_EQ(state.notices.at(NoticeKind::leaseFileSetAside),
              Notice::leaseFileSetAside("leases.json.corrupt-20250301-120000"));
}

} // namespace
} // namespace corvane
