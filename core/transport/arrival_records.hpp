#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include <sys/socket.h>

namespace corvane {

// What the kernel attaches to a received datagram as control records of a message filled by
// recvmsg. Each is absent when the kernel attached no such record.

// The index of the card a datagram arrived on, from the IP_PKTINFO record.
std::optional<std::uint32_t> arrivalInterfaceIndex(const msghdr& message);

// When the kernel queued the datagram, from the SO_TIMESTAMPNS record; the kernel stamps
// with the system's real-time clock.
std::optional<std::chrono::system_clock::time_point> arrivalTime(const msghdr& message);

} // namespace corvane
