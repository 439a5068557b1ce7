#include <cerrno>
#include <chrono>
#include <cstring>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/transport/arrival_records.hpp"
#include "core/transport/local_network.hpp"
#include "core/transport/udp_transport.hpp"
#include "tests/support/held_loopback_port.hpp"

namespace corvane {
namespace {

using testing::HeldLoopbackPort;

bool becomesReadable(int fd) {
    pollfd entry{fd, POLLIN, 0};
    return poll(&entry, 1, 2000) == 1;
}

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// The DHCP client's side on 127.0.0.1, facing a transport in loopback mode.
class LoopbackTransport : public ::testing::Test {
protected:
    void SetUp() override {
        auto local = loopback(0);
        socklen_t length = sizeof local;
        ASSERT_EQ(bind(client, reinterpret_cast<sockaddr*>(&local), length), 0);
        getsockname(client, reinterpret_cast<sockaddr*>(&local), &length);
        clientPort = ntohs(local.sin_port);
        transport.emplace(TransportMode::loopback(serverPort, clientPort));
        transport->open();
    }
    void TearDown() override { close(client); }

    void sendToServer(const Bytes& bytes) const {
        const auto server = loopback(serverPort);
        ASSERT_EQ(sendto(client, bytes.data(), bytes.size(), 0,
                         reinterpret_cast<const sockaddr*>(&server), sizeof server),
                  static_cast<ssize_t>(bytes.size()));
        ASSERT_TRUE(becomesReadable(transport->descriptor()));
    }

    int client = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    std::uint16_t clientPort = 0;
    std::uint16_t serverPort = HeldLoopbackPort().port();
    std::optional<UDPTransport> transport;
};

TEST_F(LoopbackTransport, ReceivesEachQueuedDatagramWithSourceCardAndTimeCutAtTheBuffer) {
    EXPECT_EQ(transport->receive(), std::nullopt);
    const Bytes request = {1, 1, 6, 0, 0xde, 0xad};
    // The kernel's stamp is taken from the real-time clock, which only ticks forward here.
    const auto beforeSending = std::chrono::system_clock::now();
    sendToServer(request);
    const auto lo = if_nametoindex("lo");
    auto received = transport->receive();
    ASSERT_TRUE(received && received->receivedAt);
    EXPECT_GE(*received->receivedAt, beforeSending);
    EXPECT_LE(*received->receivedAt, std::chrono::system_clock::now());
    received->receivedAt.reset();
    EXPECT_EQ(received, (Datagram{request, lo, IPv4Address::loopback, clientPort, std::nullopt}));
    EXPECT_EQ(transport->receive(), std::nullopt);
    EXPECT_EQ(transport->interfaceIndex(), lo);
    EXPECT_EQ(transport->interfaceName(), "lo");

    sendToServer(Bytes(3000, 0x5a));
    EXPECT_EQ(transport->receive()->bytes, Bytes(2048, 0x5a));
}

TEST(LocalNetworkClassify, NamesTheCauseOfAFailedSend) {
    struct Case {
        const char* rule;
        int code;
        bool linkUp;
        bool addressPresent;
        SendFailure expected;
    };
    const auto other = [](int code) {
        return SendFailure::other(TransportError("send to 255.255.255.255:68", code).what());
    };
    const Case cases[] = {
        {"unreachable with link down", EHOSTUNREACH, false, true, SendFailure::linkDown()},
        {"link down wins over a missing address", ENETDOWN, false, false, SendFailure::linkDown()},
        {"unreachable with address missing", ENETUNREACH, true, false,
         SendFailure::addressMissing()},
        {"address not available, address missing", EADDRNOTAVAIL, true, false,
         SendFailure::addressMissing()},
        {"unreachable with everything present", EHOSTUNREACH, true, true,
         SendFailure::possiblyDenied()},
        {"firewall rejection with everything present", EPERM, true, true,
         SendFailure::possiblyDenied()},
        {"firewall rejection with link down is not recognised", EPERM, false, true, other(EPERM)},
        {"firewall rejection without address is not recognised", EACCES, true, false,
         other(EACCES)},
        {"no buffer space is not recognised", ENOBUFS, true, true, other(ENOBUFS)},
    };
    for (const auto& [rule, code, linkUp, addressPresent, expected] : cases) {
        const TransportError error("send to 255.255.255.255:68", code);
        EXPECT_EQ(LocalNetwork::classify(error, linkUp, addressPresent), expected) << rule;
    }
    EXPECT_EQ(other(ENOBUFS).text(),
              "send to 255.255.255.255:68 failed: No buffer space available (errno 105)");
}

// Control data laid out the way recvmsg fills it: records one after another.
class ControlBuffer {
public:
    template <typename Payload> ControlBuffer& add(int level, int type, const Payload& payload) {
        const auto offset = used_;
        used_ += CMSG_SPACE(sizeof(Payload));
        auto* header = reinterpret_cast<cmsghdr*>(storage_ + offset);
        header->cmsg_level = level;
        header->cmsg_type = type;
        header->cmsg_len = CMSG_LEN(sizeof(Payload));
        std::memcpy(CMSG_DATA(header), &payload, sizeof payload);
        return *this;
    }
    ControlBuffer& truncateBy(std::size_t bytes) {
        used_ -= bytes;
        return *this;
    }
    msghdr message() {
        msghdr result{};
        result.msg_control = used_ == 0 ? nullptr : storage_;
        result.msg_controllen = used_;
        return result;
    }

private:
    alignas(cmsghdr) unsigned char storage_[256] = {};
    std::size_t used_ = 0;
};

TEST(ArrivalInterfaceIndex, ReadsOnlyACompletePacketInfoRecord) {
    const auto info = [](int index) { return in_pktinfo{index, {}, {}}; };
    const int ttl = 64;
    struct Case {
        const char* rule;
        ControlBuffer control;
        std::optional<std::uint32_t> expected;
    };
    Case cases[] = {
        {"no control data", ControlBuffer(), std::nullopt},
        {"a lone packet info record", ControlBuffer().add(IPPROTO_IP, IP_PKTINFO, info(7)), 7u},
        {"packet info after another record",
         ControlBuffer().add(IPPROTO_IP, IP_TTL, ttl).add(IPPROTO_IP, IP_PKTINFO, info(3)), 3u},
        {"another record only", ControlBuffer().add(IPPROTO_IP, IP_TTL, ttl), std::nullopt},
        {"same type number at another level", ControlBuffer().add(SOL_SOCKET, IP_PKTINFO, info(9)),
         std::nullopt},
        {"record cut short by the control length",
         ControlBuffer().add(IPPROTO_IP, IP_PKTINFO, info(5)).truncateBy(8), std::nullopt},
    };
    for (auto& [rule, control, expected] : cases) {
        EXPECT_EQ(arrivalInterfaceIndex(control.message()), expected) << rule;
    }
}

} // namespace
} // namespace corvane
