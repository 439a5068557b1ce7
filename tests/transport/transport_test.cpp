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

#include "core/transport/arrival_interface.hpp"
#include "core/transport/local_network.hpp"
#include "core/transport/udp_transport.hpp"

namespace corvane {
namespace {

constexpr int waitLimitMilliseconds = 2000;

bool becomesReadable(int fd, int limitMilliseconds = waitLimitMilliseconds) {
    pollfd entry{fd, POLLIN, 0};
    return poll(&entry, 1, limitMilliseconds) == 1;
}

// A plain UDP socket on 127.0.0.1 playing the DHCP client's side.
class LoopbackPeer {
public:
    LoopbackPeer() : fd_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in local = address(0);
        if (fd_ < 0 || bind(fd_, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0) {
            throw std::runtime_error("cannot bind a loopback test socket");
        }
        socklen_t length = sizeof local;
        getsockname(fd_, reinterpret_cast<sockaddr*>(&local), &length);
        port_ = ntohs(local.sin_port);
    }
    ~LoopbackPeer() { close(fd_); }

    static sockaddr_in address(std::uint16_t port) {
        sockaddr_in result{};
        result.sin_family = AF_INET;
        result.sin_port = htons(port);
        result.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return result;
    }

    std::uint16_t port() const { return port_; }
    int fd() const { return fd_; }

    void sendTo(std::uint16_t port, const Bytes& bytes) const {
        const auto remote = address(port);
        ASSERT_EQ(sendto(fd_, bytes.data(), bytes.size(), 0,
                         reinterpret_cast<const sockaddr*>(&remote), sizeof remote),
                  static_cast<ssize_t>(bytes.size()));
    }

    // The next datagram with the port it came from, waiting a bounded time.
    std::optional<std::pair<Bytes, std::uint16_t>> receive() const {
        if (!becomesReadable(fd_)) {
            return std::nullopt;
        }
        Bytes buffer(4096);
        sockaddr_in source{};
        socklen_t length = sizeof source;
        const auto count = recvfrom(fd_, buffer.data(), buffer.size(), 0,
                                    reinterpret_cast<sockaddr*>(&source), &length);
        if (count < 0) {
            return std::nullopt;
        }
        buffer.resize(static_cast<std::size_t>(count));
        return std::pair{buffer, ntohs(source.sin_port)};
    }

private:
    int fd_;
    std::uint16_t port_ = 0;
};

// A port nobody holds at the moment of asking (the kernel's pick for an ephemeral bind).
std::uint16_t freeLoopbackPort() {
    return LoopbackPeer().port();
}

class LoopbackTransport : public ::testing::Test {
protected:
    void SetUp() override { transport.open(); }

    LoopbackPeer client;
    std::uint16_t serverPort = freeLoopbackPort();
    UDPTransport transport{TransportMode::loopback(serverPort, client.port())};
};

TEST_F(LoopbackTransport, ReceivesWithSourceAndArrivalCard) {
    const Bytes request = {1, 1, 6, 0, 0xde, 0xad};
    client.sendTo(serverPort, request);
    ASSERT_TRUE(becomesReadable(transport.descriptor()));

    const auto datagram = transport.receive();
    ASSERT_TRUE(datagram);
    EXPECT_EQ(*datagram,
              (Datagram{request, if_nametoindex("lo"), IPv4Address::loopback, client.port()}));
    EXPECT_EQ(transport.interfaceIndex(), if_nametoindex("lo"));
    EXPECT_EQ(transport.interfaceName(), "lo");
}

TEST_F(LoopbackTransport, GivesNoneWhenNothingIsQueued) {
    EXPECT_EQ(transport.receive(), std::nullopt);
    client.sendTo(serverPort, {7});
    ASSERT_TRUE(becomesReadable(transport.descriptor()));
    EXPECT_TRUE(transport.receive());
    EXPECT_EQ(transport.receive(), std::nullopt);
}

TEST_F(LoopbackTransport, CutsDatagramsLongerThanTheReceiveBuffer) {
    client.sendTo(serverPort, Bytes(3000, 0x5a));
    ASSERT_TRUE(becomesReadable(transport.descriptor()));
    EXPECT_EQ(transport.receive()->bytes, Bytes(2048, 0x5a));
}

TEST_F(LoopbackTransport, SendsEveryReplyToTheLoopbackClientPort) {
    struct Case {
        const char* rule;
        ReplyDestination destination;
    };
    const Case cases[] = {
        {"broadcast goes to 127.0.0.1", ReplyDestination::broadcast()},
        {"unicast is redirected to 127.0.0.1", ReplyDestination::unicast({192, 0, 2, 7})},
    };
    for (const auto& [rule, destination] : cases) {
        const Bytes reply = {2, 1, 6, 0, static_cast<std::uint8_t>(destination.isBroadcast())};
        transport.send(reply, destination);
        const auto received = client.receive();
        ASSERT_TRUE(received) << rule;
        EXPECT_EQ(received->first, reply) << rule;
        EXPECT_EQ(received->second, serverPort) << rule;
    }
}

TEST_F(LoopbackTransport, CloseIsIdempotent) {
    transport.close();
    EXPECT_FALSE(transport.isOpen());
    EXPECT_EQ(transport.descriptor(), -1);
    transport.close();
    EXPECT_FALSE(transport.isOpen());
    // The port is free again once closed.
    UDPTransport again(transport.mode());
    EXPECT_NO_THROW(again.open());
}

TEST(TransportOpen, FailsOnAMissingCardBeforeBinding) {
    UDPTransport transport(TransportMode::interface("cvnosuch0"));
    try {
        transport.open();
        FAIL() << "opened a card that does not exist";
    } catch (const TransportError& error) {
        EXPECT_EQ(error, TransportError("find interface cvnosuch0", ENXIO));
        EXPECT_STREQ(error.what(),
                     "find interface cvnosuch0 failed: No such device or address (errno 6)");
    }
    EXPECT_FALSE(transport.isOpen());
    EXPECT_EQ(transport.interfaceIndex(), 0u);
}

TEST(TransportOpen, FailsAtBindWhenTheLoopbackPortIsHeld) {
    const LoopbackPeer holder;
    UDPTransport transport(TransportMode::loopback(holder.port(), freeLoopbackPort()));
    try {
        transport.open();
        FAIL() << "bound a port another socket holds";
    } catch (const TransportError& error) {
        const std::string operation = "bind 127.0.0.1:" + std::to_string(holder.port());
        EXPECT_EQ(error, TransportError(operation, EADDRINUSE));
        EXPECT_EQ(error.description(), operation + " failed: Address already in use (errno 98)");
    }
    EXPECT_FALSE(transport.isOpen());
}

TEST(TransportErrorText, NamesTheStepTheReasonAndTheLinuxNumber) {
    struct Case {
        const char* operation;
        int code;
        const char* text;
    };
    const Case cases[] = {
        {"bind 0.0.0.0:67", EADDRINUSE,
         "bind 0.0.0.0:67 failed: Address already in use (errno 98)"},
        {"send to 255.255.255.255:68", ENETUNREACH,
         "send to 255.255.255.255:68 failed: Network is unreachable (errno 101)"},
        {"setsockopt SO_BINDTODEVICE", EPERM,
         "setsockopt SO_BINDTODEVICE failed: Operation not permitted (errno 1)"},
    };
    for (const auto& [operation, code, text] : cases) {
        const TransportError error(operation, code);
        EXPECT_EQ(error.description(), text);
        EXPECT_EQ(error.operation(), operation);
        EXPECT_EQ(error.code(), code);
    }
    EXPECT_NE(TransportError("recvmsg", EIO), TransportError("recvmsg", EINTR));
    EXPECT_NE(TransportError("recvmsg", EIO), TransportError("socket", EIO));
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
        {"firewall access error with everything present", EACCES, true, true,
         SendFailure::possiblyDenied()},
        {"firewall rejection with link down is not recognised", EPERM, false, true, other(EPERM)},
        {"firewall rejection without address is not recognised", EACCES, true, false,
         other(EACCES)},
        {"no buffer space is not recognised", ENOBUFS, true, true, other(ENOBUFS)},
        {"no buffer space with link down is still not recognised", ENOBUFS, false, false,
         other(ENOBUFS)},
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

in_pktinfo packetInfo(int index) {
    in_pktinfo info{};
    info.ipi_ifindex = index;
    return info;
}

TEST(ArrivalInterfaceIndex, ReadsOnlyACompletePacketInfoRecord) {
    struct Case {
        const char* rule;
        ControlBuffer control;
        std::optional<std::uint32_t> expected;
    };
    const int ttl = 64;
    Case cases[] = {
        {"no control data", ControlBuffer(), std::nullopt},
        {"a lone packet info record", ControlBuffer().add(IPPROTO_IP, IP_PKTINFO, packetInfo(7)),
         7u},
        {"packet info after another record",
         ControlBuffer().add(IPPROTO_IP, IP_TTL, ttl).add(IPPROTO_IP, IP_PKTINFO, packetInfo(3)),
         3u},
        {"another record only", ControlBuffer().add(IPPROTO_IP, IP_TTL, ttl), std::nullopt},
        {"same type number at another level",
         ControlBuffer().add(SOL_SOCKET, IP_PKTINFO, packetInfo(9)), std::nullopt},
        {"record cut short by the control length",
         ControlBuffer().add(IPPROTO_IP, IP_PKTINFO, packetInfo(5)).truncateBy(8), std::nullopt},
    };
    for (auto& [rule, control, expected] : cases) {
        EXPECT_EQ(arrivalInterfaceIndex(control.message()), expected) << rule;
    }
}

} // namespace
} // namespace corvane
