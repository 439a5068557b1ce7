#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "core/address/ipv4_address.hpp"

namespace corvane {

// One received UDP datagram with where it came from and the card it arrived on.
struct Datagram {
    Bytes bytes;
    // Absent when the kernel attached no arrival record.
    std::optional<std::uint32_t> interfaceIndex;
    IPv4Address source;
    std::uint16_t sourcePort = 0;
    // When the kernel queued it; absent when the kernel attached no time stamp.
    std::optional<std::chrono::system_clock::time_point> receivedAt;

    friend bool operator==(const Datagram&, const Datagram&) = default;
};

} // namespace corvane
