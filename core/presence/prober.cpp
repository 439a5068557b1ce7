#include "core/presence/prober.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <utility>
#include <variant>

#include <linux/if_packet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/address/big_endian.hpp"
#include "core/presence/arp_probe.hpp"
#include "core/presence/file_descriptor.hpp"

namespace corvane {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint8_t echoRequestType = 8;
constexpr std::uint8_t echoReplyType = 0;
constexpr std::string_view echoPayload = "corvane";
constexpr std::size_t icmpHeaderSize = 8;
constexpr std::size_t smallestIPv4Header = 20;
constexpr std::size_t largestReply = 1024;
constexpr std::uint16_t echoSequence = 1;
// Bounds one pass over a socket flooded with other hosts' ICMP, so the deadline still holds.
constexpr int datagramsPerPass = 64;

// The echo socket; a raw one must match replies by identifier itself, whereas the kernel
// does that for the datagram socket (and rewrites the identifier we send).
struct ICMPPurpose {
    std::optional<std::uint16_t> identifier;
};

struct ARPPurpose {};

struct TCPPurpose {
    std::uint16_t port;
};

using SocketPurpose = std::variant<ICMPPurpose, ARPPurpose, TCPPurpose>;

struct WatchedSocket {
    FileDescriptor descriptor;
    SocketPurpose purpose;
};

sockaddr_in socketAddress(IPv4Address ip, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(ip.value());
    return address;
}

// A non-blocking IPv4 socket, tied to `card` when one is named; no value when either fails,
// because a probe that leaves through another card would test the wrong network.
std::optional<FileDescriptor> makeSocket(int type, int protocol, const std::string& card) {
    FileDescriptor socket(::socket(AF_INET, type | SOCK_NONBLOCK | SOCK_CLOEXEC, protocol));
    if (!socket.isOpen()) {
        return std::nullopt;
    }
    if (!card.empty() && ::setsockopt(socket.get(), SOL_SOCKET, SO_BINDTODEVICE, card.data(),
                                      static_cast<socklen_t>(card.size())) != 0) {
        return std::nullopt;
    }
    return socket;
}

std::optional<WatchedSocket> openICMPSocket(ICMPMode mode, const std::string& card) {
    // The datagram socket fails with EACCES unless net.ipv4.ping_group_range admits one of
    // our groups; the raw socket fails with EPERM without CAP_NET_RAW.
    if (mode == ICMPMode::automatic || mode == ICMPMode::datagram) {
        if (auto socket = makeSocket(SOCK_DGRAM, IPPROTO_ICMP, card)) {
            return WatchedSocket{std::move(*socket), ICMPPurpose{}};
        }
    }
    if (mode == ICMPMode::automatic || mode == ICMPMode::raw) {
        if (auto socket = makeSocket(SOCK_RAW, IPPROTO_ICMP, card)) {
            const auto identifier = static_cast<std::uint16_t>(::getpid() & 0xFFFF);
            return WatchedSocket{std::move(*socket), ICMPPurpose{identifier}};
        }
    }
    return std::nullopt;
}

std::optional<WatchedSocket> sendEchoRequest(ICMPMode mode, const std::string& card,
                                             IPv4Address ip) {
    auto socket = openICMPSocket(mode, card);
    if (!socket) {
        return std::nullopt;
    }
    const auto identifier = std::get<ICMPPurpose>(socket->purpose).identifier.value_or(0);
    const auto request = Prober::echoRequest(identifier, echoSequence);
    const auto destination = socketAddress(ip, 0);
    const auto sent =
        ::sendto(socket->descriptor.get(), request.data(), request.size(), MSG_NOSIGNAL,
                 reinterpret_cast<const sockaddr*>(&destination), sizeof(destination));
    if (sent != static_cast<ssize_t>(request.size())) {
        return std::nullopt;
    }
    return socket;
}

// Either the probe is already decided (a connect that finished at once) or the socket to
// watch, or nothing when the port cannot be tried.
using ConnectOutcome = std::variant<std::monostate, ProbeResult, WatchedSocket>;

ConnectOutcome startConnect(const std::string& card, IPv4Address ip, std::uint16_t port) {
    auto socket = makeSocket(SOCK_STREAM, 0, card);
    if (!socket) {
        return std::monostate{};
    }
    const auto destination = socketAddress(ip, port);
    if (::connect(socket->get(), reinterpret_cast<const sockaddr*>(&destination),
                  sizeof(destination)) == 0) {
        return ProbeResult::tcpOpen(port);
    }
    if (errno == ECONNREFUSED) {
        return ProbeResult::tcpRefused(port);
    }
    if (errno == EINPROGRESS) {
        return WatchedSocket{std::move(*socket), TCPPurpose{port}};
    }
    return std::monostate{};
}

// Reads what is queued on `socket`, a bounded number of datagrams, until `judge` (given the
// sender's address and the bytes) finds an answer in one.
template <typename SenderAddress, typename Judge>
std::optional<ProbeResult> readUntilAnswer(WatchedSocket& socket, Judge judge) {
    std::array<std::uint8_t, largestReply> datagram{};
    for (int attempt = 0; attempt < datagramsPerPass; ++attempt) {
        SenderAddress sender{};
        socklen_t senderLength = sizeof(sender);
        const auto received = ::recvfrom(socket.descriptor.get(), datagram.data(), datagram.size(),
                                         0, reinterpret_cast<sockaddr*>(&sender), &senderLength);
        if (received < 0) {
            if (errno == EINTR) {
                continue;
            }
            if (errno != EAGAIN && errno != EWOULDBLOCK) {
                // A pending ICMP error (host unreachable) or worse: this socket is done.
                socket.descriptor.reset();
            }
            return std::nullopt;
        }
        const std::span<const std::uint8_t> bytes(datagram.data(),
                                                  static_cast<std::size_t>(received));
        if (auto answer = judge(sender, bytes)) {
            return answer;
        }
    }
    return std::nullopt;
}

std::optional<ProbeResult> readEchoReplies(WatchedSocket& socket, const ICMPPurpose& purpose,
                                           IPv4Address ip, Clock::time_point start) {
    return readUntilAnswer<sockaddr_in>(
        socket,
        [&](const sockaddr_in& sender,
            std::span<const std::uint8_t> bytes) -> std::optional<ProbeResult> {
            // Raw sockets see every ICMP message that reaches the card, not only ours.
            if (sender.sin_family == AF_INET && ntohl(sender.sin_addr.s_addr) == ip.value() &&
                Prober::isEchoReply(bytes, purpose.identifier)) {
                return ProbeResult::echoReply(Clock::now() - start);
            }
            return std::nullopt;
        });
}

std::optional<ProbeResult> readARPAnswers(WatchedSocket& socket, IPv4Address ip) {
    return readUntilAnswer<sockaddr_ll>(
        socket,
        [&](const sockaddr_ll& sender,
            std::span<const std::uint8_t> bytes) -> std::optional<ProbeResult> {
            // A packet socket also sees what this host sends, our own probe included.
            if (sender.sll_pkttype == PACKET_OUTGOING) {
                return std::nullopt;
            }
            if (const auto from = ARPProbe::answerFrom(bytes, ip)) {
                return ProbeResult::arpAnswer(*from);
            }
            return std::nullopt;
        });
}

std::optional<ProbeResult> connectOutcome(WatchedSocket& socket, const TCPPurpose& purpose) {
    int error = 0;
    socklen_t length = sizeof(error);
    if (::getsockopt(socket.descriptor.get(), SOL_SOCKET, SO_ERROR, &error, &length) != 0) {
        error = errno;
    }
    if (error == 0) {
        return ProbeResult::tcpOpen(purpose.port);
    }
    if (error == ECONNREFUSED) {
        return ProbeResult::tcpRefused(purpose.port);
    }
    socket.descriptor.reset();
    return std::nullopt;
}

std::optional<ProbeResult> answerFrom(WatchedSocket& socket, IPv4Address ip,
                                      Clock::time_point start) {
    if (const auto* icmp = std::get_if<ICMPPurpose>(&socket.purpose)) {
        return readEchoReplies(socket, *icmp, ip, start);
    }
    if (std::holds_alternative<ARPPurpose>(socket.purpose)) {
        return readARPAnswers(socket, ip);
    }
    return connectOutcome(socket, std::get<TCPPurpose>(socket.purpose));
}

ProbeResult awaitFirstAnswer(std::vector<WatchedSocket>& sockets, IPv4Address ip,
                             Clock::time_point start, Clock::time_point deadline) {
    std::vector<pollfd> polled;
    std::vector<WatchedSocket*> owners;
    while (true) {
        polled.clear();
        owners.clear();
        // Kept in opening order, so within one pass ICMP and ARP are looked at before the ports.
        for (auto& socket : sockets) {
            if (socket.descriptor.isOpen()) {
                const short events =
                    std::holds_alternative<TCPPurpose>(socket.purpose) ? POLLOUT : POLLIN;
                polled.push_back({socket.descriptor.get(), events, 0});
                owners.push_back(&socket);
            }
        }
        const auto left = deadline - Clock::now();
        if (polled.empty() || left <= Clock::duration::zero()) {
            return ProbeResult::silent();
        }
        // Rounded up: rounding down would spin on zero-length waits just before the deadline.
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(left);
        const int ready = ::poll(polled.data(), polled.size(), static_cast<int>(wait.count()));
        if (ready < 0 && errno != EINTR) {
            return ProbeResult::silent();
        }
        for (std::size_t index = 0; ready > 0 && index < polled.size(); ++index) {
            if (polled[index].revents == 0) {
                continue;
            }
            if (auto answer = answerFrom(*owners[index], ip, start)) {
                return std::move(*answer);
            }
        }
    }
}

} // namespace

Prober::Prober(std::string interfaceName, std::vector<std::uint16_t> tcpPorts, ICMPMode icmpMode,
               ARPProbing arpProbing)
    : interfaceName_(std::move(interfaceName)), tcpPorts_(std::move(tcpPorts)), icmpMode_(icmpMode),
      arpProbing_(arpProbing) {}

ProbeResult Prober::probe(IPv4Address ip, std::chrono::milliseconds timeout) const {
    const auto start = Clock::now();
    const auto deadline = start + timeout;
    // An unknown card leaves the sockets untied, as the routing table would send them.
    const std::string card =
        ::if_nametoindex(interfaceName_.c_str()) != 0 ? interfaceName_ : std::string();

    std::vector<WatchedSocket> sockets;
    if (icmpMode_ != ICMPMode::none) {
        if (auto echo = sendEchoRequest(icmpMode_, card, ip)) {
            sockets.push_back(std::move(*echo));
        }
    }
    if (arpProbing_ == ARPProbing::enabled) {
        if (auto arp = ARPProbe::send(card, ip)) {
            sockets.push_back(WatchedSocket{std::move(*arp), ARPPurpose{}});
        }
    }
    for (const auto port : tcpPorts_) {
        auto outcome = startConnect(card, ip, port);
        if (auto* decided = std::get_if<ProbeResult>(&outcome)) {
            return std::move(*decided);
        }
        if (auto* watched = std::get_if<WatchedSocket>(&outcome)) {
            sockets.push_back(std::move(*watched));
        }
    }
    return awaitFirstAnswer(sockets, ip, start, deadline);
}

Bytes Prober::echoRequest(std::uint16_t identifier, std::uint16_t sequence) {
    const auto identifierBytes = bigEndianBytes(identifier);
    const auto sequenceBytes = bigEndianBytes(sequence);
    // Sized once and filled in place: growing the vector by insert trips a false
    // out-of-bounds warning in GCC 12 at -O3.
    Bytes message(icmpHeaderSize + echoPayload.size(), 0);
    message[0] = echoRequestType;
    message[4] = identifierBytes[0];
    message[5] = identifierBytes[1];
    message[6] = sequenceBytes[0];
    message[7] = sequenceBytes[1];
    std::copy(echoPayload.begin(), echoPayload.end(), message.begin() + icmpHeaderSize);
    const auto sum = bigEndianBytes(checksum(message));
    message[2] = sum[0];
    message[3] = sum[1];
    return message;
}

std::uint16_t Prober::checksum(std::span<const std::uint8_t> bytes) {
    std::uint64_t sum = 0;
    std::size_t index = 0;
    for (; index + 1 < bytes.size(); index += 2) {
        sum += static_cast<std::uint32_t>(bytes[index]) << 8 | bytes[index + 1];
    }
    if (index < bytes.size()) {
        sum += static_cast<std::uint32_t>(bytes[index]) << 8;
    }
    while ((sum >> 16) != 0) {
        sum = (sum & 0xFFFF) + (sum >> 16);
    }
    return static_cast<std::uint16_t>(~sum & 0xFFFF);
}

bool Prober::isEchoReply(std::span<const std::uint8_t> datagram,
                         std::optional<std::uint16_t> identifier) {
    auto message = datagram;
    // ICMP types never have 4 in their high nibble, so a 4 there is the IPv4 version.
    if (!message.empty() && (message[0] >> 4) == 4) {
        const std::size_t headerLength = std::size_t{message[0] & 0x0Fu} * 4u;
        if (headerLength < smallestIPv4Header || message.size() <= headerLength) {
            return false;
        }
        message = message.subspan(headerLength);
    }
    if (message.size() < icmpHeaderSize || message[0] != echoReplyType) {
        return false;
    }
    const auto received = static_cast<std::uint16_t>(message[4] << 8 | message[5]);
    return !identifier || received == *identifier;
}

} // namespace corvane
