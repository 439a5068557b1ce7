#pragma once

#include <chrono>
#include <cstdint>

#include "core/leases/lease.hpp"

namespace corvane::testing {

inline MACAddress macEndingIn(std::uint8_t last) {
    return MACAddress({0x02, 0x00, 0x5e, 0x10, 0x20, last});
}

inline TimePoint secondsAfterEpoch(std::int64_t seconds) {
    return TimePoint(std::chrono::seconds(seconds));
}

inline Lease leaseFor(std::uint8_t macLast, IPv4Address ip,
                      Lease::State state = Lease::State::bound) {
    Lease lease;
    lease.mac = macEndingIn(macLast);
    lease.ip = ip;
    lease.state = state;
    lease.firstSeen = secondsAfterEpoch(1'740'000'000);
    lease.lastSeen = lease.firstSeen;
    lease.expiresAt = lease.firstSeen + std::chrono::hours(24);
    return lease;
}

} // namespace corvane::testing
