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

bool becomesReadable(int fd, int limitMilliseconds = 2000) {
    pollfd entry{fd, POLLIN, 0};
    return poll(&entry, 1, limitMilliseconds) == 1;
}

sockaddr_in address(in_addr_t host, std::uint16_t port) {
    return {
        .sin_family = AF_INET, .sin_port = htons(port), .sin_addr = {htonl(host)}, .sin_zero = {}};
}

// A UDP socket on port `port` in the namespace `name`, tied to `card` unless it is empty.
class CardSocket {
public:
    CardSocket(const std::string& name, const std::string& card, std::uint16_t port) {
        const NetworkLab::Entered inside(name);
        fd_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const int on = 1;
        setsockopt(fd_, SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
        setsockopt(fd_, IPPROTO_IP, IP_PKTINFO, &on, sizeof on);
        setsockopt(fd_, SOL_SOCKET, SO_BINDTODEVICE, card.c_str(),
                   static_cast<socklen_t>(card.size()));
        const auto local = address(INADDR_ANY, port);
        if (bind(fd_, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
            throw std::runtime_error("cannot bind a test socket on " + card);
        }
    }
    ~CardSocket() { close(fd_); }

    void broadcast(const std::string& text, std::uint16_t port) const {
        const auto remote = address(INADDR_BROADCAST, port);
        ASSERT_EQ(sendto(fd_, text.data(), text.size(), 0,
                         reinterpret_cast<const sockaddr*>(&remote), sizeof remote),
                  static_cast<ssize_t>(text.size()));
    }

    // The text of the next datagram and the destination address in its IP header.
    std::optional<std::pair<std::string, IPv4Address>> receive() const {
        char data[512];
        alignas(cmsghdr) unsigned char control[256] = {};
        iovec vector{data, sizeof data};
        msghdr message{.msg_name = nullptr,
                       .msg_namelen = 0,
                       .msg_iov = &vector,
                       .msg_iovlen = 1,
                       .msg_control = control,
                       .msg_controllen = sizeof control,
                       .msg_flags = 0};
        const auto count = becomesReadable(fd_) ? recvmsg(fd_, &message, 0) : -1;
        const auto* header = CMSG_FIRSTHDR(&message);
        if (count < 0 || !header || header->cmsg_type != IP_PKTINFO) {
            return std::nullopt;
        }
        in_pktinfo info{};
        std::memcpy(&info, CMSG_DATA(header), sizeof info);
        return std::pair{std::string(data, static_cast<std::size_t>(count)),
                         IPv4Address(ntohl(info.ipi_addr.s_addr))};
    }

private:
    int fd_ = -1;
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

    NetworkLab lab;
    std::string server;
    std::string clients[2];
    const std::string serverCards[2] = {"srv1", "srv2"};
    const std::string clientCards[2] = {"dev1", "dev2"};
};

TEST_F(TwoCardNetwork, HearsAndBroadcastsOnlyOnItsCard) {
    for (int card = 0; card < 2; ++card) {
        SCOPED_TRACE(serverCards[card]);
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
        const CardSocket mine(clients[card], clientCards[card], 68);
        const CardSocket stranger(clients[other], clientCards[other], 68);

        stranger.broadcast("from the other card", 67);
        mine.broadcast("from my card", 67);
        ASSERT_TRUE(becomesReadable(transport.descriptor()));
        const auto datagram = transport.receive();
        ASSERT_TRUE(datagram);
        EXPECT_EQ(std::string(datagram->bytes.begin(), datagram->bytes.end()), "from my card");
        EXPECT_EQ(datagram->interfaceIndex, expectedIndex);
        EXPECT_EQ(datagram->sourcePort, 68);
        EXPECT_FALSE(becomesReadable(transport.descriptor(), 300)) << "heard the other card";

        transport.send(Bytes{'o', 'f', 'f', 'e', 'r'}, ReplyDestination::broadcast());
        EXPECT_EQ(mine.receive(), (std::pair{std::string("offer"), IPv4Address::broadcast}));
    }
}

} // namespace
} // namespace corvane
