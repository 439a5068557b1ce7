#include <cerrno>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "core/events/notice.hpp"
#include "core/leases/lease_file_error.hpp"
#include "core/packet/packet_error.hpp"
#include "core/server/dhcp_server.hpp"
#include "core/server/server_texts.hpp"
#include "core/transport/transport_texts.hpp"
#include "tests/server/server_test_support.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;
namespace fs = std::filesystem;

// A server in loopback mode on a free port, answering the test's client socket, with a clock
// the test moves and a lease file in a temporary folder.
class LoopbackServerTest : public ::testing::Test {
protected:
    void TearDown() override {
        if (server) {
            server->stop();
        }
    }

    fs::path leasesPath() const { return folder.path() / "leases.json"; }
    LeaseTable savedTable() const { return LeaseFile(leasesPath()).load(clock.now()).table; }
    EventStream& events() { return server->events(); }

    void makeServer() {
        server = DHCPServer::create(
            {
                .config = config,
                .mode = TransportMode::loopback(serverPort, client.port()),
                .cardMAC = std::nullopt,
                .leaseFile = LeaseFile(leasesPath()),
                .presenceEnabled = false,
            },
            clock.function());
    }

    void startServer() {
        makeServer();
        server->start();
        const auto started = nextOf<ServerEvent::Started>(events(), "started");
        ASSERT_TRUE(started);
        EXPECT_EQ(started->interface, "lo");
        EXPECT_EQ(started->config, config);
    }

    // DISCOVER then OFFER, with the three events between them; gives the offered address.
    std::optional<IPv4Address> offerTo(const MACAddress& mac, std::uint32_t xid) {
        client.send(discover(mac, xid), serverPort);
        const auto offer = client.receive();
        EXPECT_TRUE(offer) << "no OFFER for " << mac.description();
        const auto received = nextOf<ServerEvent::Received>(events(), "received DISCOVER");
        const auto changed = nextOf<ServerEvent::LeaseChanged>(events(), "offered lease");
        const auto sent = nextOf<ServerEvent::Sent>(events(), "sent OFFER");
        if (!offer || !received || !changed || !sent) {
            return std::nullopt;
        }
        return offer->yiaddr;
    }

    // REQUEST for an offered address then ACK, with the three events between them.
    void bind(const MACAddress& mac, std::uint32_t xid, IPv4Address offered) {
        client.send(request(mac, xid, config.serverIP, offered), serverPort);
        const auto ack = client.receive();
        ASSERT_TRUE(ack);
        EXPECT_EQ(ack->messageType(), DHCPMessageType::ack);
        ASSERT_TRUE(nextOf<ServerEvent::Received>(events(), "received REQUEST"));
        ASSERT_TRUE(nextOf<ServerEvent::LeaseChanged>(events(), "bound lease"));
        ASSERT_TRUE(nextOf<ServerEvent::Sent>(events(), "sent ACK"));
    }

    // Stops the server and checks that nothing but `stopped` was still waiting.
    void expectOnlyStoppedLeft() {
        server->stop();
        EXPECT_TRUE(nextOf<ServerEvent::Stopped>(events(), "stopped"));
        EXPECT_EQ(events().next(eventWait), std::nullopt);
    }

    ServerConfig config = ServerConfig::defaultConfig();
    ManualClock clock{testStart};
    TemporaryFolder folder;
    LoopbackClient client;
    std::uint16_t serverPort = unusedLoopbackPort();
    std::shared_ptr<DHCPServer> server;
};

TEST_F(LoopbackServerTest, DiscoverIsAnsweredWithAnOfferAndReportedInOrder) {
    startServer();
    const auto mac = device(1);
    client.send(discover(mac, 0x1001), serverPort);

    const auto bytes = client.receiveBytes();
    ASSERT_TRUE(bytes) << "no OFFER on the client port";
    EXPECT_GE(bytes->size(), DHCPPacket::minimumReplyLength);
    auto parsed = DHCPPacket::parse(*bytes);
    ASSERT_TRUE(std::holds_alternative<DHCPPacket>(parsed));
    const auto& offer = std::get<DHCPPacket>(parsed);
    EXPECT_EQ(offer.op, 2);
    EXPECT_EQ(offer.xid, 0x1001u);
    EXPECT_EQ(offer.messageType(), DHCPMessageType::offer);
    EXPECT_TRUE(config.inRange(offer.yiaddr)) << offer.yiaddr.description();

    const auto received = nextOf<ServerEvent::Received>(events(), "received");
    ASSERT_TRUE(received);
    EXPECT_EQ(received->packet.type, DHCPMessageType::discover);
    EXPECT_EQ(received->packet.mac, mac);
    EXPECT_EQ(received->packet.xid, 0x1001u);
    EXPECT_EQ(received->packet.interface, "lo");

    const auto changed = nextOf<ServerEvent::LeaseChanged>(events(), "leaseChanged");
    ASSERT_TRUE(changed);
    EXPECT_EQ(changed->lease.mac, mac);
    EXPECT_EQ(changed->lease.ip, offer.yiaddr);
    EXPECT_EQ(changed->lease.state, Lease::State::offered);
    EXPECT_EQ(changed->lease.expiresAt, testStart + Timing::offerHold);

    const auto sent = nextOf<ServerEvent::Sent>(events(), "sent");
    ASSERT_TRUE(sent);
    EXPECT_EQ(sent->reply, (SentSummary{DHCPMessageType::offer, offer.yiaddr, mac,
                                        ReplyDestination::broadcast(), "lo", std::nullopt}));
}

TEST_F(LoopbackServerTest, AcknowledgedRequestIsBoundInTheTableAndInTheFile) {
    startServer();
    const auto mac = device(2);
    const auto offered = offerTo(mac, 0x2001);
    ASSERT_TRUE(offered);
    clock.advance(5s);

    client.send(request(mac, 0x2002, config.serverIP, *offered), serverPort);
    const auto ack = client.receive();
    ASSERT_TRUE(ack);
    EXPECT_EQ(ack->messageType(), DHCPMessageType::ack);
    EXPECT_EQ(ack->yiaddr, *offered);
    ASSERT_TRUE(nextOf<ServerEvent::Received>(events(), "received REQUEST"));
    const auto changed = nextOf<ServerEvent::LeaseChanged>(events(), "bound lease");
    ASSERT_TRUE(changed);
    EXPECT_EQ(changed->lease.state, Lease::State::bound);
    EXPECT_EQ(changed->lease.expiresAt, clock.now() + std::chrono::seconds(config.leaseSeconds));
    const auto sent = nextOf<ServerEvent::Sent>(events(), "sent ACK");
    ASSERT_TRUE(sent);
    EXPECT_EQ(sent->reply.type, DHCPMessageType::ack);

    const auto onDisk = savedTable();
    ASSERT_EQ(onDisk.leases().size(), 1u);
    EXPECT_EQ(onDisk.leases().front(), changed->lease);
    EXPECT_EQ(server->currentTable(), onDisk);
}

TEST_F(LoopbackServerTest, LoadedLeasesOutsideTheRangeAreDroppedBeforeServing) {
    const auto inside = boundLease(device(1), ip("192.168.0.150"), 1h);
    const auto outside = boundLease(device(2), ip("10.0.0.5"), 1h);
    const auto alsoInside = boundLease(device(3), ip("192.168.0.160"), 1h);
    writeLeaseFile(leasesPath(), LeaseTable({inside, outside, alsoInside}, {}));
    // Reversed ends still mean the same pool.
    std::swap(config.rangeStart, config.rangeEnd);

    makeServer();
    server->start();
    EXPECT_EQ(
        nextEvent(events(), "info"),
        ServerEvent(ServerEvent::Info{server_texts::droppedOutsideRange(outside.ip, outside.mac)}));
    EXPECT_EQ(nextEvent(events(), "leaseRemoved"),
              ServerEvent(ServerEvent::LeaseRemoved{outside.mac}));
    EXPECT_TRUE(nextOf<ServerEvent::Started>(events(), "started"));
    EXPECT_EQ(nextEvent(events(), "first loaded lease"),
              ServerEvent(ServerEvent::LeaseChanged{inside}));
    EXPECT_EQ(nextEvent(events(), "second loaded lease"),
              ServerEvent(ServerEvent::LeaseChanged{alsoInside}));

    EXPECT_EQ(savedTable(), LeaseTable({inside, alsoInside}, {}));
    expectOnlyStoppedLeft();
}

TEST_F(LoopbackServerTest, UnreadableLeaseFileMakesTheRunMemoryOnly) {
    // A folder where the file should be cannot be read, and must not be replaced either.
    fs::create_directory(leasesPath());
    std::ofstream(leasesPath() / "keep") << "the user's";

    makeServer();
    server->start();
    const auto raised = nextOf<ServerEvent::NoticeRaised>(events(), "noticeRaised");
    ASSERT_TRUE(raised);
    EXPECT_EQ(raised->notice, Notice::leaseFileUnreadable(
                                  LeaseFileError::couldNotRead(leasesPath(), EISDIR).what()));
    EXPECT_TRUE(nextOf<ServerEvent::Started>(events(), "started"));

    // A save would fail and say so; with the file off limits none is even tried.
    const auto offered = offerTo(device(1), 0x3001);
    ASSERT_TRUE(offered);
    bind(device(1), 0x3002, *offered);
    EXPECT_EQ(server->currentTable().leases().size(), 1u);
    expectOnlyStoppedLeft();

    EXPECT_TRUE(fs::is_directory(leasesPath()));
    std::vector<fs::path> entries(fs::directory_iterator(folder.path()), {});
    EXPECT_EQ(entries, std::vector<fs::path>{leasesPath()}) << "a temporary file was written";
}

TEST_F(LoopbackServerTest, FailedSaveRaisesANoticeThatTheNextSaveClears) {
    startServer();
    // Renaming a file over a folder fails, so the save cannot replace the lease file.
    fs::create_directory(leasesPath());
    std::ofstream(leasesPath() / "blocker") << "x";

    const auto mac = device(4);
    client.send(discover(mac, 0x4001), serverPort);
    const auto offer = client.receive();
    ASSERT_TRUE(offer) << "a failed save stopped the reply";
    ASSERT_TRUE(nextOf<ServerEvent::Received>(events(), "received"));
    ASSERT_TRUE(nextOf<ServerEvent::LeaseChanged>(events(), "leaseChanged"));
    const auto raised = nextOf<ServerEvent::NoticeRaised>(events(), "noticeRaised");
    ASSERT_TRUE(raised);
    EXPECT_EQ(raised->notice, Notice::leaseSaveFailed(
                                  LeaseFileError::couldNotReplace(leasesPath(), EISDIR).what()));
    ASSERT_TRUE(nextOf<ServerEvent::Sent>(events(), "sent"));

    fs::remove_all(leasesPath());
    client.send(request(mac, 0x4002, config.serverIP, offer->yiaddr), serverPort);
    ASSERT_TRUE(client.receive());
    ASSERT_TRUE(nextOf<ServerEvent::Received>(events(), "received"));
    ASSERT_TRUE(nextOf<ServerEvent::LeaseChanged>(events(), "leaseChanged"));
    EXPECT_EQ(nextEvent(events(), "noticeCleared"),
              ServerEvent(ServerEvent::NoticeCleared{NoticeKind::leaseSaveFailed}));
    ASSERT_TRUE(nextOf<ServerEvent::Sent>(events(), "sent"));
    EXPECT_EQ(savedTable().lease(mac).value().state, Lease::State::bound);
}

TEST_F(LoopbackServerTest, MalformedDatagramIsDroppedAndServingGoesOn) {
    startServer();
    const Bytes twelveBytes(12, 0x01);
    client.send(twelveBytes, serverPort);
    EXPECT_EQ(nextEvent(events(), "dropped"),
              ServerEvent(ServerEvent::Dropped{
                  server_texts::malformed(PacketError::tooShort(12).description()), std::nullopt}));
    EXPECT_TRUE(offerTo(device(5), 0x5001));
}

TEST_F(LoopbackServerTest, ForgettingAndClearingRemoveLeasesAndSaveTheTable) {
    startServer();
    const auto bound = device(6);
    const auto offeredOnly = device(7);
    const auto boundIP = offerTo(bound, 0x6001);
    ASSERT_TRUE(boundIP);
    bind(bound, 0x6002, *boundIP);
    ASSERT_TRUE(offerTo(offeredOnly, 0x7001));

    server->forgetLease(bound);
    EXPECT_EQ(nextEvent(events(), "leaseRemoved"), ServerEvent(ServerEvent::LeaseRemoved{bound}));
    // The table is saved right after the event; reading the table waits for that.
    server->currentTable();
    EXPECT_FALSE(savedTable().lease(bound));
    EXPECT_TRUE(savedTable().lease(offeredOnly));
    server->forgetLease(device(99));

    // Still within the offer's hold: nothing to clear. Reading the table waits for the
    // clearing, which was queued first.
    server->clearInactive();
    EXPECT_TRUE(server->currentTable().lease(offeredOnly));
    clock.advance(Timing::offerHold);
    server->clearInactive();
    EXPECT_EQ(nextEvent(events(), "leaseRemoved"),
              ServerEvent(ServerEvent::LeaseRemoved{offeredOnly}));
    server->currentTable();
    EXPECT_TRUE(savedTable().leases().empty());
    expectOnlyStoppedLeft();
}

TEST_F(LoopbackServerTest, StopReportsStoppedLastAndEndsTheServerForGood) {
    startServer();
    server->start();
    const auto offered = offerTo(device(8), 0x8001);
    ASSERT_TRUE(offered);
    server->stop();
    EXPECT_TRUE(nextOf<ServerEvent::Stopped>(events(), "stopped"))
        << "the second start emitted something";
    EXPECT_EQ(events().next(), std::nullopt);

    server->stop();
    server->start();
    server->forgetLease(device(8));
    EXPECT_TRUE(events().isExhausted());
    EXPECT_TRUE(server->currentTable().lease(device(8)));
    EXPECT_TRUE(savedTable().lease(device(8))) << "stop did not save the table";
    const int port = holdLoopbackPort(serverPort);
    EXPECT_GE(port, 0) << "stop left the socket open";
    close(port);
}

TEST_F(LoopbackServerTest, ReleasingTheLastOwnerStopsAndSaves) {
    startServer();
    ASSERT_TRUE(offerTo(device(9), 0x9001));
    server.reset();
    EXPECT_TRUE(savedTable().lease(device(9)));
}

TEST_F(LoopbackServerTest, FailedOpenIsThrownAndALaterStartMaySucceed) {
    const int holder = holdLoopbackPort(serverPort);
    ASSERT_GE(holder, 0);

    makeServer();
    try {
        server->start();
        ADD_FAILURE() << "started on a port another socket holds";
    } catch (const TransportError& error) {
        EXPECT_EQ(error, TransportError(transport_texts::bind(IPv4Address::loopback, serverPort),
                                        EADDRINUSE));
    }
    EXPECT_EQ(events().next(10ms), std::nullopt) << "events before a successful start";

    close(holder);
    server->start();
    EXPECT_TRUE(nextOf<ServerEvent::Started>(events(), "started"));
}

TEST_F(LoopbackServerTest, AReaderOnAnotherThreadGetsEveryEventInOrder) {
    startServer();
    std::vector<ServerEvent> seen;
    std::thread reader([this, &seen] {
        while (auto event = events().next()) {
            seen.push_back(std::move(*event));
        }
    });
    constexpr std::uint8_t clients = 5;
    for (std::uint8_t number = 1; number <= clients; ++number) {
        client.send(discover(device(number), 0xA000u + number), serverPort);
        EXPECT_TRUE(client.receive()) << "no OFFER for client " << int(number);
    }
    server->stop();
    reader.join();

    ASSERT_EQ(seen.size(), clients * 3u + 1u);
    for (std::uint8_t number = 1; number <= clients; ++number) {
        const auto first = static_cast<std::size_t>(number - 1) * 3;
        const auto* received = seen[first].as<ServerEvent::Received>();
        ASSERT_TRUE(received) << ::testing::PrintToString(seen[first]);
        EXPECT_EQ(received->packet.xid, 0xA000u + number);
        EXPECT_TRUE(seen[first + 1].is<ServerEvent::LeaseChanged>());
        EXPECT_TRUE(seen[first + 2].is<ServerEvent::Sent>());
    }
    EXPECT_TRUE(seen.back().is<ServerEvent::Stopped>());
}

} // namespace
} // namespace corvane
