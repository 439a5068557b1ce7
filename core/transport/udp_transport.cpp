#include "core/transport/udp_transport.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/transport/arrival_records.hpp"
#include "core/transport/transport_texts.hpp"

namespace corvane {
namespace {

constexpr std::size_t receiveBufferSize = 2048;
constexpr std::size_t controlBufferSize = 256;

sockaddr_in socketAddress(IPv4Address address, std::uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    result.sin_addr.s_addr = htonl(address.value());
    return result;
}

// Owns a descriptor while `open` configures it, so every early throw closes it.
class PendingSocket {
public:
    explicit PendingSocket(int fd) : fd_(fd) {}
    ~PendingSocket() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    PendingSocket(const PendingSocket&) = delete;
    PendingSocket& operator=(const PendingSocket&) = delete;

    int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }

    void enable(int level, int option, const char* operation) const {
        const int on = 1;
        if (setsockopt(fd_, level, option, &on, sizeof on) != 0) {
            throw TransportError(operation, errno);
        }
    }

private:
    int fd_;
};

} // namespace

void UDPTransport::open() {
    // Opening again replaces the old socket rather than leaking it.
    close();
    // SOCK_CLOEXEC keeps port 67 from leaking into programs the application starts.
    PendingSocket socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP));
    if (socket.get() < 0) {
        throw TransportError(transport_texts::createSocket, errno);
    }
    socket.enable(SOL_SOCKET, SO_BROADCAST, transport_texts::allowBroadcast);
    socket.enable(IPPROTO_IP, IP_PKTINFO, transport_texts::requestArrivalInterface);
    // The arrival time tells how long a request sat in the queue under a flood.
    socket.enable(SOL_SOCKET, SO_TIMESTAMPNS, transport_texts::requestArrivalTime);

    const std::string name = interfaceName();
    const unsigned index = if_nametoindex(name.c_str());
    if (index == 0) {
        // The lookup's own errno varies (ENODEV, ENXIO); one fixed code keeps the text stable.
        throw TransportError(transport_texts::findInterface(name), ENXIO);
    }
    // Receive and send only on this card, so a DHCP server never answers the wrong network.
    if (setsockopt(socket.get(), SOL_SOCKET, SO_BINDTODEVICE, name.c_str(),
                   static_cast<socklen_t>(name.size())) != 0) {
        throw TransportError(transport_texts::bindToDevice, errno);
    }

    // No SO_REUSEADDR: if anything else holds the port, the bind must fail.
    const auto local = socketAddress(mode_.bindAddress(), mode_.bindPort());
    if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        throw TransportError(transport_texts::bind(mode_.bindAddress(), mode_.bindPort()), errno);
    }

    const int flags = fcntl(socket.get(), F_GETFL);
    if (flags < 0 || fcntl(socket.get(), F_SETFL, flags | O_NONBLOCK) != 0) {
        throw TransportError(transport_texts::makeNonBlocking, errno);
    }

    fd_ = socket.release();
    interfaceIndex_ = index;
}

void UDPTransport::close() {
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

// Not const: taking a datagram off the socket changes what the transport holds.
// NOLINTNEXTLINE(readability-make-member-function-const)
std::optional<Datagram> UDPTransport::receive() {
    std::array<std::uint8_t, receiveBufferSize> data{};
    alignas(cmsghdr) std::array<unsigned char, controlBufferSize> control{};
    sockaddr_in source{};
    iovec vector{data.data(), data.size()};

    msghdr message{};
    message.msg_name = &source;
    message.msg_namelen = sizeof source;
    message.msg_iov = &vector;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();

    const ssize_t count = recvmsg(fd_, &message, 0);
    if (count < 0) {
        if (errno == EAGAIN || errno == EWOULDBLOCK) {
            return std::nullopt;
        }
        throw TransportError(transport_texts::receiveMessage, errno);
    }

    Datagram datagram;
    datagram.bytes.assign(data.begin(), data.begin() + count);
    datagram.interfaceIndex = arrivalInterfaceIndex(message);
    datagram.receivedAt = arrivalTime(message);
    datagram.source = IPv4Address(ntohl(source.sin_addr.s_addr));
    datagram.sourcePort = ntohs(source.sin_port);
    return datagram;
}

void UDPTransport::send(std::span<const std::uint8_t> bytes, ReplyDestination destination) {
    const IPv4Address address = mode_.sendAddress(destination.address());
    const std::uint16_t port = mode_.sendPort();
    const auto remote = socketAddress(address, port);
    // MSG_NOSIGNAL: a send must never kill the process with SIGPIPE.
    const ssize_t sent = sendto(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL,
                                reinterpret_cast<const sockaddr*>(&remote), sizeof remote);
    if (sent < 0 || static_cast<std::size_t>(sent) != bytes.size()) {
        // A short datagram leaves errno untouched, so it gets a code of its own.
        throw TransportError(transport_texts::sendTo(address, port), sent < 0 ? errno : EIO);
    }
}

std::size_t UDPTransport::sendMany(std::span<const Bytes> datagrams,
                                   std::span<const ReplyDestination> destinations) {
    const std::size_t count = std::min(datagrams.size(), destinations.size());
    std::vector<sockaddr_in> remotes(count);
    std::vector<iovec> vectors(count);
    std::vector<mmsghdr> messages(count);
    for (std::size_t index = 0; index < count; ++index) {
        remotes[index] =
            socketAddress(mode_.sendAddress(destinations[index].address()), mode_.sendPort());
        // sendmmsg only reads the data; iovec has no const member to say so.
        vectors[index] = {const_cast<std::uint8_t*>(datagrams[index].data()),
                          datagrams[index].size()};
        messages[index].msg_hdr.msg_name = &remotes[index];
        messages[index].msg_hdr.msg_namelen = sizeof(sockaddr_in);
        messages[index].msg_hdr.msg_iov = &vectors[index];
        messages[index].msg_hdr.msg_iovlen = 1;
    }
    std::size_t sent = 0;
    while (sent < count) {
        const int accepted = ::sendmmsg(fd_, messages.data() + sent,
                                        static_cast<unsigned>(count - sent), MSG_NOSIGNAL);
        if (accepted < 0 && errno == EINTR) {
            continue;
        }
        if (accepted <= 0) {
            break;
        }
        // A short datagram is a refusal too: it and the rest go back to the caller.
        for (int index = 0; index < accepted; ++index, ++sent) {
            if (messages[sent].msg_len != datagrams[sent].size()) {
                return sent;
            }
        }
    }
    return sent;
}

} // namespace corvane
