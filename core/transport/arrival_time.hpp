#pragma once

#include <chrono>
#include <optional>

#include <sys/socket.h>

namespace corvane {

// When the kernel queued a datagram, read from the SO_TIMESTAMPNS control record of a message
// filled by recvmsg; absent when the kernel attached no such record. The kernel stamps with
// the system's real-time clock.
std::optional<std::chrono::system_clock::time_point> arrivalTime(const msghdr& message);

} // namespace corvane
