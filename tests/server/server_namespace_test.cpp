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
