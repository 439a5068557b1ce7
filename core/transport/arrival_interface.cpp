#include "core/transport/arrival_interface.hpp"

#include <cstring>

#include <netinet/in.h>

namespace corvane {

std::optional<std::uint32_t> arrivalInterfaceIndex(const msghdr& message) {
    // The CMSG macros take a non-const header but only read through it.
    auto& readable = const_cast<msghdr&>(message);
    const auto* controlEnd =
        static_cast<const unsigned char*>(message.msg_control) + message.msg_controllen;
    for (cmsghdr* header = CMSG_FIRSTHDR(&readable); header != nullptr;
         header = CMSG_NXTHDR(&readable, header)) {
        if (header->cmsg_level != IPPROTO_IP || header->cmsg_type != IP_PKTINFO ||
            header->cmsg_len < CMSG_LEN(sizeof(in_pktinfo)) ||
            CMSG_DATA(header) + sizeof(in_pktinfo) > controlEnd) {
            continue;
        }
        in_pktinfo info{};
        std::memcpy(&info, CMSG_DATA(header), sizeof info);
        return static_cast<std::uint32_t>(info.ipi_ifindex);
    }
    return std::nullopt;
}

} // namespace corvane
