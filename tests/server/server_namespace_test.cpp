#include <algorithm>
#include <map>
#include <memory>
#include <string>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/events/notice.hpp"
#include "core/server/dhcp_server.hpp"
#include "core/server/server_texts.hpp"
#include "tests/server/server_test_support.hpp"
#include "tests/support/network_lab.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;

// How long a reply that must not come is given to show up anyway.
constexpr auto strayLimit = 300ms;

// A DHCP client's socket on one card of a namespace: port 68, broadcasting to port 67.
class CardClient {
public:
    CardClient(const std::string& namespaceName, const std::string& card) {
        const NetworkLab::Entered inside(namespaceName);
        fd_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const int on = 1;
        setsockopt(fd_, SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
        setsockopt(fd_, SOL_SOCKET, SO_BINDTODEVICE, card.c_str(),
                   static_cast<socklen_t>(card.size()));
        const auto local = address(INADDR_ANY, TransportMode::dhcpClientPort);
        if (bind(fd_, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
            throw std::runtime_error("cannot bind a client socket on " + card);
        }
    }
    ~CardClient() { close(fd_); }
    CardClient(const CardClient&) = delete;
    CardClient& operator=(const CardClient&) = delete;

    void broadcast(const DHCPPacket& packet) const {
        const auto bytes = packet.serialize(DHCPPacket::minimumReplyLength);
        const auto server = address(INADDR_BROADCAST, TransportMode::dhcpServerPort);
        ASSERT_EQ(sendto(fd_, bytes.data(), bytes.size(), 0,
                         reinterpret_cast<const sockaddr*>(&server), sizeof server),
                  static_cast<ssize_t>(bytes.size()));
    }

    std::optional<DHCPPacket> receive(std::chrono::milliseconds limit = eventWait) const {
        pollfd entry{fd_, POLLIN, 0};
        if (poll(&entry, 1, static_cast<int>(limit.count())) != 1) {
            return std::nullopt;
        }
        Bytes buffer(2048);
        const auto count = recv(fd_, buffer.data(), buffer.size(), 0);
        if (count < 0) {
            return std::nullopt;
        }
        buffer.resize(static_cast<std::size_t>(count));
        auto parsed = DHCPPacket::parse(buffer);
        if (auto* packet = std::get_if<DHCPPacket>(&parsed)) {
            return *packet;
        }
        return std::nullopt;
    }

private:
    static sockaddr_in address(in_addr_t host, std::uint16_t port) {
        sockaddr_in result{};
        result.sin_family = AF_INET;
        result.sin_port = htons(port);
        result.sin_addr.s_addr = htonl(host);
        return result;
    }

    int fd_ = -1;
};

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

    // Created inside the server namespace, so the loop and the probes live there.
    void startServer(bool presenceEnabled, std::size_t loadedLeases = 0) {
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
        const auto started = nextOf<ServerEvent::Started>(events(), "started");
        ASSERT_TRUE(started);
        EXPECT_EQ(started->interface, "srv1");
        for (std::size_t lease = 0; lease < loadedLeases; ++lease) {
            ASSERT_TRUE(nextOf<ServerEvent::LeaseChanged>(events(), "loaded lease"));
        }
        const auto link = nextOf<ServerEvent::Link>(events(), "link");
        ASSERT_TRUE(link);
        EXPECT_TRUE(link->up);
    }

    // A bound lease with a day left on the real clock, which these tests run on.
    static Lease liveLease(const MACAddress& mac, IPv4Address address) {
        auto lease = boundLease(mac, address, 0s);
        lease.expiresAt =
            std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()) + 24h;
        return lease;
    }

    void loadLeases(const std::vector<Lease>& leases) {
        writeLeaseFile(folder.path() / "leases.json", LeaseTable(leases, {}));
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
    const CardClient stranger(otherSide, "dev2");
    const CardClient client(deviceSide, "dev1");
    stranger.broadcast(discover(device(1), 0xD001));
    client.broadcast(discover(device(2), 0xD002));

    const auto offer = client.receive();
    ASSERT_TRUE(offer);
    EXPECT_EQ(offer->xid, 0xD002u);
    EXPECT_FALSE(stranger.receive(strayLimit)) << "the other card got a reply";

    // The kernel keeps the other card's datagram from the socket; should one slip through,
    // it must be dropped unparsed.
    auto event = nextEvent(events(), "received");
    ASSERT_TRUE(event);
    if (const auto* dropped = event->as<ServerEvent::Dropped>()) {
        EXPECT_EQ(dropped->reason, server_texts::arrivedOnOtherCard("srv2", "srv1"));
        event = nextEvent(events(), "received");
        ASSERT_TRUE(event);
    }
    const auto* received = event->as<ServerEvent::Received>();
    ASSERT_TRUE(received) << ::testing::PrintToString(*event);
    EXPECT_EQ(received->packet.xid, 0xD002u);
    EXPECT_EQ(received->packet.interface, "srv1");
    EXPECT_TRUE(nextOf<ServerEvent::LeaseChanged>(events(), "leaseChanged"));
    const auto sent = nextOf<ServerEvent::Sent>(events(), "sent");
    ASSERT_TRUE(sent);
    EXPECT_EQ(sent->reply.interface, "srv1");
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

    const auto mac = deviceMAC();
    const auto lease = server->currentTable().lease(mac);
    ASSERT_TRUE(lease) << "no lease for " << mac.description();
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
    loadLeases({current});
    startServer(false, 1);

    lab.run(deviceSide, "ip link set dev1 down");
    const auto down = nextOf<ServerEvent::Link>(events(), "link down");
    ASSERT_TRUE(down);
    EXPECT_FALSE(down->up);
    EXPECT_EQ(nextEvent(events(), "linkDown notice"),
              ServerEvent(ServerEvent::NoticeRaised{Notice::linkDown("srv1")}));
    EXPECT_EQ(
        nextEvent(events(), "offline"),
        ServerEvent(ServerEvent::Presence{current.ip, current.mac, PresenceState::offline,
                                          std::string(server_texts::offlineBecauseLinkDown)}));

    lab.run(deviceSide, "ip link set dev1 up");
    const auto up = nextOf<ServerEvent::Link>(events(), "link up");
    ASSERT_TRUE(up);
    EXPECT_TRUE(up->up);
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
    loadLeases({bound});
    startServer(false, 1);

    lab.run(serverSide, "ip link delete srv1");
    EXPECT_EQ(
        nextEvent(events(), "offline"),
        ServerEvent(ServerEvent::Presence{bound.ip, bound.mac, PresenceState::offline,
                                          std::string(server_texts::offlineBecauseUnplugged)}));
    EXPECT_EQ(nextEvent(events(), "adapterUnplugged"),
              ServerEvent(ServerEvent::NoticeRaised{Notice::adapterUnplugged()}));

    // The card returns under another name, its link already up before it carries the
    // hardware address the server looks for.
    lab.run(serverSide, "ip link add srv9 type veth peer name dev1 netns " + deviceSide +
                            " && ip link set srv9 up && ip netns exec " + deviceSide +
                            " ip link set dev1 up && ip link set srv9 address " +
                            cardMAC.description());
    EXPECT_EQ(nextEvent(events(), "noticeCleared"),
              ServerEvent(ServerEvent::NoticeCleared{NoticeKind::adapterUnplugged}));
    EXPECT_EQ(nextEvent(events(), "back"),
              ServerEvent(ServerEvent::Info{server_texts::cardIsBack("srv9")}));
    const auto link = nextOf<ServerEvent::Link>(events(), "link");
    ASSERT_TRUE(link);
    EXPECT_TRUE(link->up);

    const CardClient client(deviceSide, "dev1");
    client.broadcast(discover(device(5), 0xE001));
    ASSERT_TRUE(client.receive()) << "no OFFER on the card after it came back";
    const auto received = nextOf<ServerEvent::Received>(events(), "received");
    ASSERT_TRUE(received);
    EXPECT_EQ(received->packet.interface, "srv9");
}

TEST_F(ServedCardTest, PresenceTellsPresentAbsentAndConflictingDevicesAndRepeatsNothing) {
    const auto mac = deviceMAC();
    lab.run(deviceSide, "ip address add 10.77.0.120/24 dev dev1 && "
                        "ip address add 10.77.0.121/24 dev dev1");
    const auto present = liveLease(mac, ip("10.77.0.120"));
    // Another device's lease, yet dev1 answers for its address.
    const auto conflicting = liveLease(device(6), ip("10.77.0.121"));
    const auto absent = liveLease(device(7), ip("10.77.0.122"));
    loadLeases({present, conflicting, absent});
    startServer(true, 3);

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
    struct Case {
        const char* rule;
        bool holderAnswers;
    };
    for (const auto& [rule, holderAnswers] :
         {Case{"silent holder is reclaimed", false}, Case{"answering holder is kept", true}}) {
        SCOPED_TRACE(rule);
        const auto holder = liveLease(device(8), config.rangeStart);
        loadLeases({holder});
        if (holderAnswers) {
            lab.run(deviceSide, "ip address add 10.77.0.100/24 dev dev1");
        }
        startServer(true, 1);
        const CardClient client(deviceSide, "dev1");
        client.broadcast(discover(device(9), 0xF001));

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
