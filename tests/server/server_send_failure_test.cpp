#include <bit>
#include <cerrno>
#include <cstddef>
#include <thread>

#include <gtest/gtest.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include "core/packet/option_code.hpp"
#include "core/server/server_texts.hpp"
#include "core/transport/transport_texts.hpp"
#include "tests/server/server_test_support.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;

#if defined(__x86_64__)
constexpr std::uint32_t thisArchitecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr std::uint32_t thisArchitecture = AUDIT_ARCH_AARCH64;
#else
constexpr std::uint32_t thisArchitecture = 0;
#endif

// A NAK is padded to the minimum reply length; the OFFERs below carry enough options to be
// longer. Refusing datagrams of exactly that length refuses the NAKs alone.
constexpr std::size_t refusedLength = DHCPPacket::minimumReplyLength;

// Makes the kernel refuse, with EPERM as a firewall rule does, every sendto of exactly
// `length` bytes (and every sendmmsg) made by the calling thread and by the threads it starts
// from now on.
// The filter cannot be lifted, so only a throw-away thread should install it.
bool refuseSendsOfLength(std::size_t length) {
    if (thisArchitecture == 0 || std::endian::native != std::endian::little) {
        return false;
    }
    sock_filter instructions[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, thisArchitecture, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        // A batch's sendmmsg is refused as a whole, as a rule refusing its first datagram
        // would; the server then sends that reply alone with sendto, whose length shows here.
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_sendmmsg, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | (EPERM & SECCOMP_RET_DATA)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_sendto, 0, 3),
        // The low half of the length argument (little-endian).
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[2])),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(length), 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | (EPERM & SECCOMP_RET_DATA)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    sock_fprog program{static_cast<unsigned short>(std::size(instructions)), instructions};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

// A loopback server whose threads are all born behind the filter, so each NAK it sends is
// refused while every other datagram goes out. The server's address must be on the card for
// a refusal to count as a firewall's.
class RefusedSendTest : public LoopbackServerFixture {
protected:
    void SetUp() override {
        config = {.serverIP = ip("127.0.0.1"),
                  .prefixLength = 8,
                  .rangeStart = ip("127.0.0.100"),
                  .rangeEnd = ip("127.0.0.200"),
                  .leaseSeconds = 3600,
                  .router = ip("127.0.0.1"),
                  .dns = {ip("127.0.0.2"), ip("127.0.0.3"), ip("127.0.0.4")}};
    }

    // False, with nothing started, where the kernel or architecture allows no seccomp filter.
    bool startFiltered() {
        bool filtered = false;
        std::thread([&] {
            filtered = refuseSendsOfLength(refusedLength);
            if (filtered) {
                makeServer();
            }
        }).join();
        if (filtered) {
            startServer();
        }
        return filtered;
    }

    // An init-reboot REQUEST (RFC 2131 4.3.2) for an address outside the pool: NAKed.
    void requestOutside(const MACAddress& mac, IPv4Address outside) {
        auto packet = clientMessage(DHCPMessageType::request, mac, 0xB001);
        const auto bytes = outside.bytes();
        packet.setOption(OptionCode::requestedIP, Bytes(bytes.begin(), bytes.end()));
        client.send(packet, serverPort);
        EXPECT_EQ(nextEvent(events(), "received"),
                  ServerEvent(ServerEvent::Received{PacketSummary(packet, "lo")}));
    }

    // A DISCOVER whose OFFER carries the APC option and so passes the filter, and its first
    // two events.
    void discoverAndExpectOffer(const MACAddress& mac) {
        auto packet = discover(mac, 0xC001);
        packet.setOption(OptionCode::vendorClass, Bytes{'A', 'P', 'C', '-', 'U', 'P', 'S'});
        client.send(packet, serverPort);
        const auto offer = client.receiveBytes();
        ASSERT_TRUE(offer) << "the OFFER was refused too";
        ASSERT_GT(offer->size(), refusedLength);
        EXPECT_TRUE(nextOf<ServerEvent::Received>(events(), "received DISCOVER"));
        EXPECT_TRUE(nextOf<ServerEvent::LeaseChanged>(events(), "offered lease"));
    }
};

TEST_F(RefusedSendTest, RefusedReplyIsTriedOnceMoreAndTheSecondRefusalRaisesTheNotice) {
    if (!startFiltered()) {
        GTEST_SKIP() << "this kernel or architecture does not allow a seccomp filter";
    }
    requestOutside(device(1), ip("127.0.0.250"));
    // Before the retry is due, another client is served: no notice yet to clear.
    discoverAndExpectOffer(device(2));
    EXPECT_TRUE(nextOf<ServerEvent::Sent>(events(), "sent OFFER"));
    EXPECT_EQ(nextEvent(events(), "the notice after the retry"),
              ServerEvent(ServerEvent::NoticeRaised{Notice::localNetworkDenied()}));
    EXPECT_FALSE(client.receiveBytes(0ms)) << "a refused NAK reached the client";

    discoverAndExpectOffer(device(3));
    EXPECT_EQ(nextEvent(events(), "noticeCleared"),
              ServerEvent(ServerEvent::NoticeCleared{NoticeKind::localNetworkDenied}));
    EXPECT_TRUE(nextOf<ServerEvent::Sent>(events(), "sent OFFER"));
}

TEST_F(RefusedSendTest, RefusalWithoutTheServerAddressOnTheCardIsReportedAsItIs) {
    config.serverIP = ip("192.168.0.1");
    config.prefixLength = 24;
    config.rangeStart = ip("192.168.0.100");
    config.rangeEnd = ip("192.168.0.200");
    if (!startFiltered()) {
        GTEST_SKIP() << "this kernel or architecture does not allow a seccomp filter";
    }
    requestOutside(device(4), ip("192.168.0.250"));
    const TransportError refusal(transport_texts::sendTo(IPv4Address::loopback, client.port()),
                                 EPERM);
    EXPECT_EQ(nextEvent(events(), "info"), ServerEvent(ServerEvent::Info{server_texts::notSent(
                                               DHCPMessageType::nak, refusal.description())}));
    discoverAndExpectOffer(device(5));
}

} // namespace
} // namespace corvane
