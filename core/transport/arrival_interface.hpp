#pragma once

#include <cstdint>
#include <optional>

#include <sys/socket.h>

namespace corvane {

// The index of the card a datagram arrived on, read from the IP_PKTINFO control record of
// a message filled by recvmsg; absent when the kernel attached no such record.
std::optional<std::uint32_t> arrivalInterfaceIndex(const msghdr& message);

} // namespace corvane
