#include <cerrno>
#include <cstring>
#include <string>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/transport/udp_transport.hpp"
#include "tests/support/network_lab.hpp"

namespace corvane {
namespace {

using testing::NetworkLab;

constexpr int waitLimitMilliseconds = 2000;
// How long a datagram that must not arrive is given to show up anyway.
constexpr int strayLimitMilliseconds = 300;

bool becomesReadable(int fd, int limitMilliseconds) {
    pollfd entry{fd, POLLIN, 0};
    return poll(&entry, 1, limitMilliseconds) == 1;
}

// A UDP socket in the namespace the calling thread is in, tied to one card unless the
// card name is empty.
class CardSocket {
public:
    CardSocket(const std::string& card, std::uint16_t port)
        : fd_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        const int on = 1;
        setsockopt(fd_, SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
        setsockopt(fd_, IPPROTO_IP, IP_PKTINFO, &on, sizeof on);
        if (!card.empty()) {
            setsockopt(fd_, SOL_SOCKET, SO_BINDTODEVICE, card.c_str(),
                       static_cast<socklen_t>(card.size()));
        }
        const auto local = address(INADDR_ANY, port);
        if (bind(fd_, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
            throw std::runtime_error("cannot bind a test socket on " + card);
        }
    }
    ~CardSocket() { close(fd_); }

    static sockaddr_in address(in_addr_t host, std::uint16_t port) {
        sockaddr_in result{};
        result.sin_family = AF_INET;
        result.sin_port = htons(port);
        result.sin_addr.s_addr = htonl(host);
        return result;
    }

    void broadcast(const std::string& text, std::uint16_t port) const {
        const auto remote = address(INADDR_BROADCAST, port);
        ASSERT_EQ(sendto(fd_, text.data(), text.size(), 0,
                         reinterpret_cast<const sockaddr*>(&remote), sizeof remote),
                  static_cast<ssize_t>(text.size()));
    }

    // The text of the next datagram and the destination address in its IP header.
    std::optional<std::pair<std::string, IPv4Address>> receive() const {
        if (!becomesReadable(fd_, waitLimitMilliseconds)) {
            return std::nullopt;
        }
        char data[512];
        alignas(cmsghdr) unsigned char control[256] = {};
        iovec vector{data, sizeof data};
        msghdr message{};
        message.msg_iov = &vector;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        const auto count = recvmsg(fd_, &message, 0);
        if (count < 0) {
            return std::nullopt;
        }
        IPv4Address destination;
        for (auto* header = CMSG_FIRSTHDR(&message); header;
             header = CMSG_NXTHDR(&message, header)) {
            if (header->cmsg_level == IPPROTO_IP && header->cmsg_type == IP_PKTINFO) {
                in_pktinfo info{};
                std::memcpy(&info, CMSG_DATA(header), sizeof info);
                destination = IPv4Address(ntohl(info.ipi_addr.s_addr));
            }
        }
        return std::pair{std::string(data, static_cast<std::size_t>(count)), destination};
    }

private:
    int fd_;
};

// A server namespace with two cards, each cabled to its own client namespace.
class TwoCardNetwork : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = NetworkLab::unavailableReason()) {
            GTEST_SKIP() << *reason;
        }
        server = lab.addNamespace("srv");
        clients[0] = lab.addNamespace("cl1");
        clients[1] = lab.addNamespace("cl2");
        lab.addVethPair(server, serverCards[0], clients[0], clientCards[0]);
        lab.addVethPair(server, serverCards[1], clients[1], clientCards[1]);
    }

    void broadcastFromClient(int which, const std::string& text) {
        const NetworkLab::Entered inside(clients[which]);
        CardSocket(clientCards[which], 68).broadcast(text, 67);
    }

    NetworkLab lab;
    std::string server;
    std::string clients[2];
    const std::string serverCards[2] = {"srv1", "srv2"};
    const std::string clientCards[2] = {"dev1", "dev2"};
};

TEST_F(TwoCardNetwork, HearsOnlyItsCardAndReportsTheArrivalIndex) {
    for (int card = 0; card < 2; ++card) {
        const int other = 1 - card;
        UDPTransport transport(TransportMode::interface(serverCards[card]));
        unsigned expectedIndex = 0;
        {
            const NetworkLab::Entered inside(server);
            transport.open();
            expectedIndex = if_nametoindex(serverCards[card].c_str());
        }
        ASSERT_NE(expectedIndex, 0u);
        EXPECT_EQ(transport.interfaceIndex(), expectedIndex);

        broadcastFromClient(other, "from the other card");
        broadcastFromClient(card, "from my card");

        ASSERT_TRUE(becomesReadable(transport.descriptor(), waitLimitMilliseconds))
            << serverCards[card];
        const auto datagram = transport.receive();
        ASSERT_TRUE(datagram) << serverCards[card];
        EXPECT_EQ(std::string(datagram->bytes.begin(), datagram->bytes.end()), "from my card");
        EXPECT_EQ(datagram->interfaceIndex, expectedIndex) << serverCards[card];
        EXPECT_EQ(datagram->sourcePort, 68);
        EXPECT_FALSE(becomesReadable(transport.descriptor(), strayLimitMilliseconds))
            << serverCards[card] << " heard a datagram from " << serverCards[other];
        EXPECT_EQ(transport.receive(), std::nullopt);
    }
}

TEST_F(TwoCardNetwork, BroadcastRepliesLeaveOnTheCardForPort68) {
    UDPTransport transport(TransportMode::interface(serverCards[0]));
    {
        const NetworkLab::Entered inside(server);
        transport.open();
    }
    const NetworkLab::Entered inside(clients[0]);
    const CardSocket device(clientCards[0], 68);
    transport.send(Bytes{'o', 'f', 'f', 'e', 'r'}, ReplyDestination::broadcast());
    const auto received = device.receive();
    ASSERT_TRUE(received);
    EXPECT_EQ(received->first, "offer");
    EXPECT_EQ(received->second, IPv4Address::broadcast);
}

TEST_F(TwoCardNetwork, RefusesPort67WhileAnotherSocketHoldsIt) {
    const NetworkLab::Entered inside(server);
    const CardSocket holder("", 67);
    UDPTransport transport(TransportMode::interface(serverCards[0]));
    try {
        transport.open();
        FAIL() << "bound port 67 while it was held";
    } catch (const TransportError& error) {
        EXPECT_EQ(error, TransportError("bind 0.0.0.0:67", EADDRINUSE));
        EXPECT_STREQ(error.what(), "bind 0.0.0.0:67 failed: Address already in use (errno 98)");
    }
    EXPECT_FALSE(transport.isOpen());
}

} // namespace
} // namespace corvane
