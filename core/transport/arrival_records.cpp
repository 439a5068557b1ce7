#include "core/transport/arrival_records.hpp"

#include <cstring>
#include <ctime>

#include <netinet/in.h>

namespace corvane {
namespace {

// The payload of the first control record of this level and type that holds a whole `Payload`.
template <typename Payload>
std::optional<Payload> controlRecord(const msghdr& message, int level, int type) {
    // The CMSG macros take a non-const header but only read through it.
    auto& readable = const_cast<msghdr&>(message);
    const auto* controlEnd =
        static_cast<const unsigned char*>(message.msg_control) + message.msg_controllen;
    for (cmsghdr* header = CMSG_FIRSTHDR(&readable); header != nullptr;
         header = CMSG_NXTHDR(&readable, header)) {
        if (header->cmsg_level != level || header->cmsg_type != type ||
            header->cmsg_len < CMSG_LEN(sizeof(Payload)) ||
            CMSG_DATA(header) + sizeof(Payload) > controlEnd) {
            continue;
        }
        Payload payload{};
        std::memcpy(&payload, CMSG_DATA(header), sizeof payload);
        return payload;
    }
    return std::nullopt;
}

} // namespace

std::optional<std::uint32_t> arrivalInterfaceIndex(const msghdr& message) {
    const auto info = controlRecord<in_pktinfo>(message, IPPROTO_IP, IP_PKTINFO);
    return info ? std::optional(static_cast<std::uint32_t>(info->ipi_ifindex)) : std::nullopt;
}

std::optional<std::chrono::system_clock::time_point> arrivalTime(const msghdr& message) {
    const auto stamp = controlRecord<timespec>(message, SOL_SOCKET, SCM_TIMESTAMPNS);
    if (!stamp) {
        return std::nullopt;
    }
    const auto sinceEpoch =
        std::chrono::seconds{stamp->tv_sec} + std::chrono::nanoseconds{stamp->tv_nsec};
    return std::chrono::system_clock::time_point(
        std::chrono::duration_cast<std::chrono::system_clock::duration>(sinceEpoch));
}

} // namespace corvane
