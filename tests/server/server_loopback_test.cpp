#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "core/config/duration_text.hpp"
#include "core/events/notice.hpp"
#include "core/leases/lease_file_error.hpp"
#include "core/responder/responder_texts.hpp"
#include "core/server/server_texts.hpp"
#include "tests/server/server_test_support.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;
namespace fs = std::filesystem;

class LoopbackServerTest : public LoopbackServerFixture {
protected:
    LeaseTable savedTable() const { return LeaseFile(leasesPath()).load(clock.now()).table; }

    // Sends `message` and expects its reply, which leaves the client's lease in `state`, and
    // the events between them: received, the lease, `beforeSent` when given, and sent.
    std::optional<DHCPPacket> exchange(const DHCPPacket& message, Lease::State state,
                                       std::optional<ServerEvent> beforeSent = std::nullopt) {
        client.send(message, serverPort);
        const auto bytes = client.receiveBytes();
        if (!bytes) {
            ADD_FAILURE() << "no reply to xid " << message.xid;
            return std::nullopt;
        }
        EXPECT_GE(bytes->size(), DHCPPacket::minimumReplyLength);
        const auto reply = std::get<DHCPPacket>(DHCPPacket::parse(*bytes));
        const bool offered = state == Lease::State::offered;
        const auto replyType = offered ? DHCPMessageType::offer : DHCPMessageType::ack;
        EXPECT_EQ(reply.messageType(), replyType);
        EXPECT_EQ(reply.xid, message.xid);
        const auto mac = *PacketSummary(message, {}).mac;
        auto lease = boundLease(mac, reply.yiaddr, 0s);
        lease.state = state;
        lease.expiresAt =
            clock.now() + (offered ? Timing::offerHold : std::chrono::seconds(config.leaseSeconds));
        lease.firstSeen = testStart;
        lease.lastSeen = clock.now();
        std::vector<ServerEvent> expected = {
            ServerEvent::Received{PacketSummary(message, "lo")}, ServerEvent::LeaseChanged{lease},
            ServerEvent::Sent{{replyType, reply.yiaddr, mac, ReplyDestination::broadcast(), "lo",
                               offered ? std::nullopt
                                       : std::optional(responder_texts::leaseNote(
                                             formatDuration(config.leaseSeconds)))}}};
        if (beforeSent) {
            expected.insert(expected.begin() + 2, *beforeSent);
        }
        EXPECT_EQ(nextEvents(events(), expected.size()), expected);
        return reply;
    }

    std::optional<IPv4Address> bind(const MACAddress& mac, std::uint32_t xid) {
        const auto offer = exchange(discover(mac, xid), Lease::State::offered);
        if (!offer ||
            !exchange(request(mac, xid + 1, config.serverIP, offer->yiaddr), Lease::State::bound)) {
            return std::nullopt;
        }
        return offer->yiaddr;
    }

    // Stops the server and checks that nothing but `stopped` was still waiting.
    void expectOnlyStoppedLeft() {
        server->stop();
        EXPECT_TRUE(nextOf<ServerEvent::Stopped>(events(), "stopped"));
        EXPECT_EQ(events().next(eventWait), std::nullopt);
    }
};

TEST_F(LoopbackServerTest, LoadedLeasesOutsideTheRangeAreDroppedBeforeServing) {
    const auto inside = boundLease(device(1), ip("192.168.0.150"), 1h);
    const auto outside = boundLease(device(2), ip("10.0.0.5"), 1h);
    const auto alsoInside = boundLease(device(3), ip("192.168.0.160"), 1h);
    LeaseFile(leasesPath()).save(LeaseTable({inside, outside, alsoInside}, {}));
    // Reversed ends still mean the same pool.
    std::swap(config.rangeStart, config.rangeEnd);

    makeServer();
    server->start();
    EXPECT_EQ(nextEvents(events(), 5),
              (std::vector<ServerEvent>{
                  ServerEvent::Info{server_texts::droppedOutsideRange(outside.ip, outside.mac)},
                  ServerEvent::LeaseRemoved{outside.mac}, ServerEvent::Started{"lo", config},
                  ServerEvent::LeaseChanged{inside}, ServerEvent::LeaseChanged{alsoInside}}));
    EXPECT_EQ(savedTable(), LeaseTable({inside, alsoInside}, {}));
    expectOnlyStoppedLeft();
}

TEST_F(LoopbackServerTest, UnreadableLeaseFileMakesTheRunMemoryOnly) {
    // A folder where the file should be cannot be read, and must not be replaced either.
    fs::create_directory(leasesPath());
    std::ofstream(leasesPath() / "keep") << "the user's";

    makeServer();
    server->start();
    EXPECT_EQ(nextEvent(events(), "noticeRaised"),
              ServerEvent(ServerEvent::NoticeRaised{Notice::leaseFileUnreadable(
                  LeaseFileError::couldNotRead(leasesPath(), EISDIR).what())}));
    EXPECT_TRUE(nextOf<ServerEvent::Started>(events(), "started"));

    // A save would fail and say so; with the file off limits none is even tried.
    ASSERT_TRUE(bind(device(1), 0x3001));
    EXPECT_EQ(server->currentTable().leases().size(), 1u);
    expectOnlyStoppedLeft();

    std::vector<fs::path> entries(fs::directory_iterator(folder.path()), {});
    EXPECT_EQ(entries, std::vector<fs::path>{leasesPath()}) << "a temporary file was written";
    EXPECT_TRUE(fs::exists(leasesPath() / "keep"));
}

TEST_F(LoopbackServerTest, RepliesWaitForTheirLeaseOnDiskAndServingResumesByItself) {
    startServer();
    const auto journal = LeaseFile(leasesPath()).journalPath();
    // A process file size limit at the journal's present size makes every further write
    // fail with EFBIG, as a full disk makes it fail with ENOSPC.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit unlimited{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &unlimited), 0);
    rlimit capped = unlimited;
    capped.rlim_cur = static_cast<rlim_t>(fs::file_size(journal));
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &capped), 0);

    const auto mac = device(4);
    client.send(discover(mac, 0x4001), serverPort);
    EXPECT_EQ(client.receiveBytes(300ms), std::nullopt) << "an offer went out ahead of the disk";
    const auto withheld = nextEvents(events(), 4);
    ASSERT_EQ(withheld.size(), 4u);
    EXPECT_EQ(withheld[2], ServerEvent(ServerEvent::NoticeRaised{Notice::leaseSaveFailed(
                               LeaseFileError::couldNotWrite(journal, EFBIG).what())}));
    EXPECT_EQ(withheld[3], ServerEvent(ServerEvent::Info{server_texts::notSent(
                               DHCPMessageType::offer, server_texts::leaseNotSaved)}));

    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &unlimited), 0);
    EXPECT_EQ(nextEvent(events(), "noticeCleared"),
              ServerEvent(ServerEvent::NoticeCleared{NoticeKind::leaseSaveFailed}));
    ASSERT_TRUE(bind(mac, 0x4002));
    server->stop();
    EXPECT_EQ(savedTable().lease(mac).value().state, Lease::State::bound);
}

// Forgetting a live lease is driven through the control socket in e2e_control.
TEST_F(LoopbackServerTest, ClearingRemovesOnlyLapsedRecordsAndSavesTheTable) {
    startServer();
    const auto offeredOnly = device(7);
    ASSERT_TRUE(exchange(discover(offeredOnly, 0x7001), Lease::State::offered));
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
    ASSERT_TRUE(exchange(discover(device(8), 0x8001), Lease::State::offered))
        << "the second start emitted something";
    expectOnlyStoppedLeft();

    server->stop();
    server->start();
    server->forgetLease(device(8));
    EXPECT_TRUE(events().isExhausted());
    EXPECT_TRUE(server->currentTable().lease(device(8)));
    EXPECT_TRUE(savedTable().lease(device(8))) << "stop did not save the table";
    EXPECT_NO_THROW(UDPTransport(TransportMode::loopback(serverPort, client.port())).open())
        << "stop left the socket open";
}

TEST_F(LoopbackServerTest, ReleasingTheLastOwnerStopsAndSaves) {
    startServer();
    ASSERT_TRUE(exchange(discover(device(9), 0x9001), Lease::State::offered));
    server.reset();
    EXPECT_TRUE(savedTable().lease(device(9)));
}

} // namespace
} // namespace corvane
