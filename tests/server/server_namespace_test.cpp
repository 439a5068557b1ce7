#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/events/notice.hpp"
#include "core/server/server_texts.hpp"
#include "tests/server/server_test_support.hpp"
#include "tests/support/network_lab.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;
using Events = std::vector<ServerEvent>;

constexpr auto serverPort = TransportMode::dhcpServerPort;
// How long a reply that must not come is given to show up anyway.
constexpr auto strayLimit = 300ms;

// A DHCP client on `card` of the namespace `name`.
ClientSocket cardClient(const std::string& name, const std::string& card) {
    const NetworkLab::Entered inside(name);
    return ClientSocket(card);
}

// A bound lease with a day left on the real clock, which these tests run on.
Lease liveLease(const MACAddress& mac, IPv4Address address) {
    auto lease = boundLease(mac, address, 0s);
    lease.expiresAt =
        std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()) + 24h;
    return lease;
}

// A server namespace whose card srv1 (10.77.0.1/24) is cabled to the device namespace's dev1.
class ServedCardTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = NetworkLab::unavailableReason()) {
            GTEST_SKIP() << *reason;
        }
        serverSide = lab.addNamespace("srv");
        deviceSide = lab.addNamespace("dev");
        lab.addVethPair(serverSide, "srv1", deviceSide, "dev1");
        lab.run(serverSide, "ip link set srv1 address " + cardMAC.description() +
                                " && ip address add 10.77.0.1/24 dev srv1");
    }

    void TearDown() override {
        if (server) {
            server->stop();
        }
    }

    EventStream& events() { return server->events(); }

    MACAddress deviceMAC() {
        auto text = lab.output(deviceSide, "cat /sys/class/net/dev1/address");
        text.erase(text.find_last_not_of('\n') + 1);
        return MACAddress::parse(text).value();
    }

    void expectLink(bool up) {
        const auto link = nextOf<ServerEvent::Link>(events(), up ? "link up" : "link down");
        EXPECT_TRUE(link && link->up == up);
    }

    // Created inside the server namespace, so the loop and the probes live there.
    void startServer(bool presenceEnabled, const std::vector<Lease>& leases = {}) {
        LeaseFile(folder.path() / "leases.json").save(LeaseTable(leases, {}));
        {
            const NetworkLab::Entered inside(serverSide);
            server = DHCPServer::create({
                .config = config,
                .mode = TransportMode::interface("srv1"),
                .cardMAC = cardMAC,
                .leaseFile = LeaseFile(folder.path() / "leases.json"),
                .presenceEnabled = presenceEnabled,
            });
        }
        server->start();
        Events expected = {ServerEvent::Started{"srv1", config}};
        for (const auto& lease : leases) {
            expected.push_back(ServerEvent::LeaseChanged{lease});
        }
        EXPECT_EQ(nextEvents(events(), expected.size()), expected);
        expectLink(true);
    }

    const MACAddress cardMAC =
        MACAddress(MACAddress::ByteArray{0x02, 0x5e, 0x00, 0x00, 0x0a, 0x01});
    ServerConfig config = ServerConfig{.serverIP = ip("10.77.0.1"),
                                       .prefixLength = 24,
                                       .rangeStart = ip("10.77.0.100"),
                                       .rangeEnd = ip("10.77.0.150"),
                                       .leaseSeconds = 3600,
                                       .router = std::nullopt,
                                       .dns = {}};
    NetworkLab lab;
    std::string serverSide;
    std::string deviceSide;
    TemporaryFolder folder;
    std::shared_ptr<DHCPServer> server;
};

TEST_F(ServedCardTest, PeerLinkDownRaisesTheNoticeAndMarksDevicesOffline) {
    const auto current = liveLease(device(3), ip("10.77.0.120"));
    startServer(false, {current});

    lab.run(deviceSide, "ip link set dev1 down");
    expectLink(false);
    EXPECT_EQ(nextEvents(events(), 2),
              (Events{ServerEvent::NoticeRaised{Notice::linkDown("srv1")},
                      ServerEvent::Presence{current.ip, current.mac, PresenceState::offline,
                                            std::string(server_texts::offlineBecauseLinkDown)}}));

    lab.run(deviceSide, "ip link set dev1 up");
    expectLink(true);
    EXPECT_EQ(nextEvent(events(), "noticeCleared"),
              ServerEvent(ServerEvent::NoticeCleared{NoticeKind::linkDown}));

    // Nothing has probed the device since: it is still shown offline, and is not reported
    // offline a second time when the card goes away.
    lab.run(serverSide, "ip link delete srv1");
    EXPECT_EQ(nextEvent(events(), "adapterUnplugged"),
              ServerEvent(ServerEvent::NoticeRaised{Notice::adapterUnplugged()}));
}

TEST_F(ServedCardTest, UnpluggedCardIsWaitedForAndFoundAgainUnderANewName) {
    const auto bound = liveLease(device(4), ip("10.77.0.121"));
    startServer(false, {bound});

    lab.run(serverSide, "ip link delete srv1");
    EXPECT_EQ(nextEvents(events(), 2),
              (Events{ServerEvent::Presence{bound.ip, bound.mac, PresenceState::offline,
                                            std::string(server_texts::offlineBecauseUnplugged)},
                      ServerEvent::NoticeRaised{Notice::adapterUnplugged()}}));

    // The card returns under another name, its link already up before it carries the
    // hardware address the server looks for.
    lab.run(serverSide, "ip link add srv9 type veth peer name dev1 netns " + deviceSide +
                            " && ip link set srv9 up && ip netns exec " + deviceSide +
                            " ip link set dev1 up && ip link set srv9 address " +
                            cardMAC.description());
    EXPECT_EQ(nextEvents(events(), 2),
              (Events{ServerEvent::NoticeCleared{NoticeKind::adapterUnplugged},
                      ServerEvent::Info{server_texts::cardIsBack("srv9")}}));
    expectLink(true);

    const auto client = cardClient(deviceSide, "dev1");
    const auto message = discover(device(5), 0xE001);
    client.send(message, serverPort);
    ASSERT_TRUE(client.receive()) << "no OFFER on the card after it came back";
    EXPECT_EQ(nextEvent(events(), "received"),
              ServerEvent(ServerEvent::Received{PacketSummary(message, "srv9")}));
}

TEST_F(ServedCardTest, PresenceTellsPresentAbsentAndConflictingDevicesAndRepeatsNothing) {
    lab.run(deviceSide, "ip address add 10.77.0.120/24 dev dev1 && "
                        "ip address add 10.77.0.121/24 dev dev1");
    const auto present = liveLease(deviceMAC(), ip("10.77.0.120"));
    // Another device's lease, yet dev1 answers for its address.
    const auto conflicting = liveLease(device(6), ip("10.77.0.121"));
    const auto absent = liveLease(device(7), ip("10.77.0.122"));
    startServer(true, {present, conflicting, absent});

    std::map<IPv4Address, PresenceState> states;
    while (states.size() < 3) {
        const auto presence = nextOf<ServerEvent::Presence>(events(), "presence");
        ASSERT_TRUE(presence);
        states[presence->ip] = presence->state;
    }
    EXPECT_EQ(states, (std::map<IPv4Address, PresenceState>{
                          {present.ip, PresenceState::online},
                          {conflicting.ip, PresenceState::conflict},
                          {absent.ip, PresenceState::offline},
                      }));

    // A cycle that finds the same states reports nothing; the silent probe alone takes its
    // full timeout, so twice that is enough for every answer to be in.
    server->refreshPresence();
    EXPECT_EQ(events().next(2 * Timing::probeTimeout + 500ms), std::nullopt);
}

// A full pool whose only address is held by a device that is there: the server's own probe,
// through the card, must find it, so the address is not given to a newcomer. (e2e_full_pool
// has the silent holders that are reclaimed.)
TEST_F(ServedCardTest, AHolderThatAnswersTheProbeKeepsItsAddress) {
    config.rangeEnd = config.rangeStart;
    const auto holder = liveLease(device(8), config.rangeStart);
    lab.run(deviceSide, "ip address add 10.77.0.100/24 dev dev1");
    startServer(true, {holder});
    const auto client = cardClient(deviceSide, "dev1");
    client.send(discover(device(9), 0xF001), serverPort);

    ASSERT_TRUE(nextOf<ServerEvent::Received>(events(), "received"));
    EXPECT_EQ(nextEvent(events(), "probing"),
              ServerEvent(ServerEvent::Info{server_texts::probingBeforeReuse(holder.ip)}));
    // The presence cycle may report the holder meanwhile.
    auto event = nextEvent(events(), "pool exhausted");
    while (event && event->is<ServerEvent::Presence>()) {
        event = nextEvent(events(), "pool exhausted");
    }
    ASSERT_TRUE(event && event->is<ServerEvent::Dropped>()) << ::testing::PrintToString(event);
    EXPECT_FALSE(client.receive(strayLimit));
    EXPECT_EQ(server->currentTable().lease(holder.mac).value().state, Lease::State::bound);
}

} // namespace
} // namespace corvane
