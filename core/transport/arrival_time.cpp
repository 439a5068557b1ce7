#include "core/transport/arrival_time.hpp"

#include <cstring>
#include <ctime>

namespace corvane {

std::optional<std::chrono::system_clock::time_point> arrivalTime(const msghdr& message) {
    // The CMSG macros take a non-const header but only read through it.
    auto& readable = const_cast<msghdr&>(message);
    const auto* controlEnd =
        static_cast<const unsigned char*>(message.msg_control) + message.msg_controllen;
    for (cmsghdr* header = CMSG_FIRSTHDR(&readable); header != nullptr;
         header = CMSG_NXTHDR(&readable, header)) {
        if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_TIMESTAMPNS ||
            header->cmsg_len < CMSG_LEN(sizeof(timespec)) ||
            CMSG_DATA(header) + sizeof(timespec) > controlEnd) {
            continue;
        }
        timespec stamp{};
        std::memcpy(&stamp, CMSG_DATA(header), sizeof stamp);
        const auto sinceEpoch =
            std::chrono::seconds{stamp.tv_sec} + std::chrono::nanoseconds{stamp.tv_nsec};
        return std::chrono::system_clock::time_point(
            std::chrono::duration_cast<std::chrono::system_clock::duration>(sinceEpoch));
    }
    return std::nullopt;
}

} // namespace corvane
