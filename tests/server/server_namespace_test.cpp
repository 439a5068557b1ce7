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

// How long a reply that must not come is given to show up anyway.
constexpr auto strayLimit = 300ms;
constexpr auto serverPort = TransportMode::dhcpServerPort;

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

// A server namespace with two cards: srv1 (served, 10.77.0.1/24) cabled to the device
// namespace's dev1, and srv2 cabled to another namespace's dev2.
class ServedCardTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = NetworkLab::unavailableReason()) {
            GTEST_SKIP() << *reason;
        }
        serverSide = lab.addNamespace("srv");
        deviceSide = lab.addNamespace("dev");
        otherSide = lab.addNamespace("oth");
        lab.addVethPair(serverSide, "srv1", deviceSide, "dev1");
        lab.addVethPair(serverSide, "srv2", otherSide, "dev2");
        lab.run(serverSide, "ip link set srv1 address " + cardMAC.description() +
                                " && ip address add 10.77.0.1/24 dev srv1" +
                                " && ip address add 10.78.0.1/24 dev srv2");
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
    std::string otherSide;
    TemporaryFolder folder;
    std::shared_ptr<DHCPServer> server;
};

TEST_F(ServedCardTest, ServesOnlyTheChosenCard) {
    startServer(false);
    const auto stranger = cardClient(otherSide, "dev2");
    const auto client = cardClient(deviceSide, "dev1");
    const auto message = discover(device(2), 0xD002);
    stranger.send(discover(device(1), 0xD001), serverPort);
    client.send(message, serverPort);

    const auto offer = client.receive();
    ASSERT_TRUE(offer);
    EXPECT_EQ(offer->xid, 0xD002u);
    EXPECT_FALSE(stranger.receive(strayLimit)) << "the other card got a reply";

    // The kernel keeps the other card's datagram from the socket; should one slip through,
    // it must be dropped unparsed.
    auto event = nextEvent(events(), "received");
    if (event && event->is<ServerEvent::Dropped>()) {
        EXPECT_EQ(*event, ServerEvent(ServerEvent::Dropped{
                              server_texts::arrivedOnOtherCard("srv2", "srv1"), std::nullopt}));
        event = nextEvent(events(), "received");
    }
    EXPECT_EQ(event, ServerEvent(ServerEvent::Received{PacketSummary(message, "srv1")}));
    const auto rest = nextEvents(events(), 2);
    ASSERT_EQ(rest.size(), 2u);
    EXPECT_TRUE(rest[0].is<ServerEvent::LeaseChanged>());
    EXPECT_EQ(rest[1], ServerEvent(ServerEvent::Sent{{DHCPMessageType::offer, offer->yiaddr,
                                                      device(2), ReplyDestination::broadcast(),
                                                      "srv1", std::nullopt}}));
}

TEST_F(ServedCardTest, RealClientGetsALeaseEndToEnd) {
    if (lab.output(deviceSide, "command -v busybox || true").empty()) {
        GTEST_SKIP() << "busybox (udhcpc) is not installed";
    }
    startServer(false);
    // Five DISCOVERs a second apart at most, then it gives up; it quits once it has a lease.
    const auto output = lab.output(deviceSide, "timeout 20 busybox udhcpc -i dev1 -f -q -n -t 5 "
                                               "-T 1 -s /bin/true 2>&1; echo \"exit $?\"");
    ASSERT_TRUE(output.ends_with("exit 0\n")) << output;

    const auto lease = server->currentTable().lease(deviceMAC());
    ASSERT_TRUE(lease) << "no lease for dev1";
    EXPECT_EQ(lease->state, Lease::State::bound);
    EXPECT_TRUE(config.inRange(lease->ip));

    // What went over the wire, as the server reported it.
    std::vector<std::string> exchange;
    while (exchange.size() < 4) {
        const auto event = nextEvent(events(), "the DHCP exchange");
        ASSERT_TRUE(event);
        if (const auto* received = event->as<ServerEvent::Received>()) {
            exchange.push_back("got " + std::string(description(*received->packet.type)));
        } else if (const auto* sent = event->as<ServerEvent::Sent>()) {
            exchange.push_back("sent " + std::string(description(sent->reply.type)));
        }
    }
    EXPECT_EQ(exchange,
              (std::vector<std::string>{"got DISCOVER", "sent OFFER", "got REQUEST", "sent ACK"}));
}

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

// A full pool whose only address is held by a device that may be gone: the address is
// probed first, and given away only when nothing answers.
TEST_F(ServedCardTest, HeldAddressIsProbedBeforeItIsGivenAway) {
    config.rangeEnd = config.rangeStart;
    for (const bool holderAnswers : {false, true}) {
        SCOPED_TRACE(holderAnswers ? "answering holder is kept" : "silent holder is reclaimed");
        const auto holder = liveLease(device(8), config.rangeStart);
        if (holderAnswers) {
            lab.run(deviceSide, "ip address add 10.77.0.100/24 dev dev1");
        }
        startServer(true, {holder});
        const auto client = cardClient(deviceSide, "dev1");
        client.send(discover(device(9), 0xF001), serverPort);

        ASSERT_TRUE(nextOf<ServerEvent::Received>(events(), "received"));
        EXPECT_EQ(nextEvent(events(), "probing"),
                  ServerEvent(ServerEvent::Info{server_texts::probingBeforeReuse(holder.ip)}));
        if (holderAnswers) {
            // The presence cycle may report the holder meanwhile.
            auto event = nextEvent(events(), "pool exhausted");
            while (event && event->is<ServerEvent::Presence>()) {
                event = nextEvent(events(), "pool exhausted");
            }
            ASSERT_TRUE(event && event->is<ServerEvent::Dropped>())
                << ::testing::PrintToString(event);
            EXPECT_FALSE(client.receive(strayLimit));
        } else {
            const auto offer = client.receive();
            ASSERT_TRUE(offer);
            EXPECT_EQ(offer->yiaddr, holder.ip);
            EXPECT_EQ(server->currentTable().lease(holder.mac).value().state,
                      Lease::State::reclaimed);
        }
        server->stop();
        server.reset();
    }
}

} // namespace
} // namespace corvane
