#include "core/presence/arp_table.hpp"

#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

#include <linux/neighbour.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>

#include "core/presence/file_descriptor.hpp"

namespace corvane {
namespace {

constexpr std::size_t netlinkHeaderSize = sizeof(nlmsghdr);
constexpr std::size_t neighbourHeaderSize = sizeof(ndmsg);
constexpr std::size_t attributeHeaderSize = sizeof(rtattr);
// A dump chunk is at most a few pages; a larger buffer keeps MSG_TRUNC from ever firing.
constexpr std::size_t receiveBufferSize = std::size_t{64} * 1024;
// No real neighbour table comes near this; it only bounds a misbehaving peer.
constexpr std::size_t dumpSizeLimit = std::size_t{32} * 1024 * 1024;

constexpr std::size_t alignedTo4(std::size_t length) {
    return (length + 3) & ~std::size_t{3};
}

// Netlink fields are in host order and the buffer carries no alignment promise, so every
// field is copied out rather than cast in place; callers have checked the bounds.
template <typename Field> Field fieldAt(std::span<const std::uint8_t> bytes, std::size_t offset) {
    Field field{};
    std::memcpy(&field, bytes.data() + offset, sizeof(Field));
    return field;
}

struct NetlinkMessage {
    std::uint16_t type;
    std::span<const std::uint8_t> payload;
};

// Calls `visit` for each whole message in order until it returns false or the data ends;
// a message with a length that cannot be right ends the walk.
template <typename Visitor>
void forEachMessage(std::span<const std::uint8_t> bytes, Visitor visit) {
    std::size_t offset = 0;
    while (bytes.size() - offset >= netlinkHeaderSize) {
        const auto header = fieldAt<nlmsghdr>(bytes, offset);
        const std::size_t length = header.nlmsg_len;
        if (length < netlinkHeaderSize || length > bytes.size() - offset) {
            return;
        }
        const auto payload = bytes.subspan(offset + netlinkHeaderSize, length - netlinkHeaderSize);
        if (!visit(NetlinkMessage{header.nlmsg_type, payload})) {
            return;
        }
        offset += std::min(alignedTo4(length), bytes.size() - offset);
    }
}

struct NeighbourEntry {
    std::optional<IPv4Address> address;
    std::optional<MACAddress> hardwareAddress;
};

NeighbourEntry readAttributes(std::span<const std::uint8_t> attributes) {
    NeighbourEntry entry;
    std::size_t offset = 0;
    while (attributes.size() - offset >= attributeHeaderSize) {
        const auto header = fieldAt<rtattr>(attributes, offset);
        const std::size_t length = header.rta_len;
        if (length < attributeHeaderSize || length > attributes.size() - offset) {
            break;
        }
        const auto value =
            attributes.subspan(offset + attributeHeaderSize, length - attributeHeaderSize);
        if (header.rta_type == NDA_DST) {
            entry.address = IPv4Address::fromBytes(value);
        } else if (header.rta_type == NDA_LLADDR) {
            entry.hardwareAddress = MACAddress::fromBytes(value);
        }
        offset += std::min(alignedTo4(length), attributes.size() - offset);
    }
    return entry;
}

bool isResolved(std::uint16_t state) {
    return (state & (NUD_INCOMPLETE | NUD_FAILED)) == 0;
}

struct NeighbourDumpRequest {
    nlmsghdr header;
    ndmsg body;
};

bool sendDumpRequest(int socket) {
    NeighbourDumpRequest request{};
    request.header.nlmsg_len = sizeof(request);
    request.header.nlmsg_type = RTM_GETNEIGH;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.header.nlmsg_seq = 1;
    request.body.ndm_family = AF_INET;
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    return ::sendto(socket, &request, sizeof(request), MSG_NOSIGNAL,
                    reinterpret_cast<const sockaddr*>(&kernel),
                    sizeof(kernel)) == static_cast<ssize_t>(sizeof(request));
}

enum class ChunkEnd { more, done, failed };

ChunkEnd endOfChunk(std::span<const std::uint8_t> chunk) {
    auto end = ChunkEnd::more;
    forEachMessage(chunk, [&end](const NetlinkMessage& message) {
        if (message.type == NLMSG_DONE) {
            end = ChunkEnd::done;
        } else if (message.type == NLMSG_ERROR) {
            end = ChunkEnd::failed;
        }
        return end == ChunkEnd::more;
    });
    return end;
}

// The whole dump, or no value when the kernel reported an error, a read timed out or a
// chunk did not fit.
std::optional<Bytes> receiveDump(int socket) {
    Bytes dump;
    std::vector<std::uint8_t> buffer(receiveBufferSize);
    while (dump.size() < dumpSizeLimit) {
        iovec vector{buffer.data(), buffer.size()};
        msghdr header{};
        header.msg_iov = &vector;
        header.msg_iovlen = 1;
        const ssize_t received = ::recvmsg(socket, &header, 0);
        if (received < 0 && errno == EINTR) {
            continue;
        }
        if (received <= 0 || (header.msg_flags & MSG_TRUNC) != 0) {
            return std::nullopt;
        }
        const std::span<const std::uint8_t> chunk(buffer.data(),
                                                  static_cast<std::size_t>(received));
        dump.insert(dump.end(), chunk.begin(), chunk.end());
        switch (endOfChunk(chunk)) {
        case ChunkEnd::done:
            return dump;
        case ChunkEnd::failed:
            return std::nullopt;
        case ChunkEnd::more:
            break;
        }
    }
    return std::nullopt;
}

} // namespace

ARPTable::Entries ARPTable::read(std::optional<unsigned> interfaceIndex) {
    const FileDescriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    if (!socket.isOpen()) {
        return {};
    }
    // The kernel answers a dump at once; the timeout only guards against a wedged socket.
    const timeval patience{1, 0};
    if (::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience)) != 0 ||
        !sendDumpRequest(socket.get())) {
        return {};
    }
    const auto dump = receiveDump(socket.get());
    return dump ? parse(*dump, interfaceIndex) : Entries{};
}

ARPTable::Entries ARPTable::parse(std::span<const std::uint8_t> dump,
                                  std::optional<unsigned> interfaceIndex) {
    Entries entries;
    forEachMessage(dump, [&](const NetlinkMessage& message) {
        if (message.type == NLMSG_DONE || message.type == NLMSG_ERROR) {
            return false;
        }
        if (message.type != RTM_NEWNEIGH || message.payload.size() < neighbourHeaderSize) {
            return true;
        }
        const auto neighbour = fieldAt<ndmsg>(message.payload, 0);
        const bool onWantedInterface =
            !interfaceIndex || static_cast<unsigned>(neighbour.ndm_ifindex) == *interfaceIndex;
        if (neighbour.ndm_family != AF_INET || !onWantedInterface ||
            !isResolved(neighbour.ndm_state)) {
            return true;
        }
        const auto entry = readAttributes(message.payload.subspan(alignedTo4(neighbourHeaderSize)));
        if (entry.address && entry.hardwareAddress) {
            entries.insert_or_assign(*entry.address, *entry.hardwareAddress);
        }
        return true;
    });
    return entries;
}

} // namespace corvane
