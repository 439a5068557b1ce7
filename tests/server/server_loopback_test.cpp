#include <cerrno>
#include <filesystem>
#include <fstream>
#include <vector>

#include <gtest/gtest.h>

#include "core/config/duration_text.hpp"
#include "core/events/notice.hpp"
#include "core/leases/lease_file_error.hpp"
#include "core/responder/responder_texts.hpp"
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
};

TEST_F(LoopbackServerTest, OfferAndAckAreReportedInOrderAndTheBoundLeaseIsSaved) {
    startServer();
    const auto mac = device(1);
    const auto offer = exchange(discover(mac, 0x1001), Lease::State::offered);
    ASSERT_TRUE(offer);
    EXPECT_EQ(offer->op, 2);
    EXPECT_TRUE(config.inRange(offer->yiaddr)) << offer->yiaddr.description();

    clock.advance(5s);
    const auto ack =
        exchange(request(mac, 0x1002, config.serverIP, offer->yiaddr), Lease::State::bound);
    ASSERT_TRUE(ack);
    EXPECT_EQ(ack->yiaddr, offer->yiaddr);
    const auto onDisk = savedTable();
    ASSERT_EQ(onDisk.leases().size(), 1u);
    EXPECT_EQ(onDisk.leases().front().state, Lease::State::bound);
    EXPECT_EQ(server->currentTable(), onDisk);
}

TEST_F(LoopbackServerTest, FailedSaveRaisesANoticeThatTheNextSaveClears) {
    startServer();
    // Renaming a file over a folder fails, so the save cannot replace the lease file.
    fs::create_directory(leasesPath());
    std::ofstream(leasesPath() / "blocker") << "x";

    const auto mac = device(4);
    const auto offer = exchange(discover(mac, 0x4001), Lease::State::offered,
                                ServerEvent::NoticeRaised{Notice::leaseSaveFailed(
                                    LeaseFileError::couldNotReplace(leasesPath(), EISDIR).what())});
    ASSERT_TRUE(offer) << "a failed save stopped the reply";

    fs::remove_all(leasesPath());
    ASSERT_TRUE(exchange(request(mac, 0x4002, config.serverIP, offer->yiaddr), Lease::State::bound,
                         ServerEvent::NoticeCleared{NoticeKind::leaseSaveFailed}));
    EXPECT_EQ(savedTable().lease(mac).value().state, Lease::State::bound);
}

} // namespace
} // namespace corvane
