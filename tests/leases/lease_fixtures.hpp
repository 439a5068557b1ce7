#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"
#include "core/leases/lease.hpp"

namespace corvane::testing {

// 2025-03-01T12:00:00Z, the instant every test calls "now".
inline constexpr TimePoint now{std::chrono::seconds{1'740'830'400}};

inline constexpr TimePoint secondsFromNow(std::int64_t seconds) {
    return now + std::chrono::seconds{seconds};
}

inline constexpr MACAddress macNumbered(std::uint8_t number) {
    return MACAddress(MACAddress::ByteArray{0x02, 0x00, 0x00, 0x00, 0x00, number});
}

inline IPv4Address address(std::string_view text) {
    return IPv4Address::parse(text).value();
}

inline Lease makeLease(const MACAddress& mac, IPv4Address ip, Lease::State state,
                       TimePoint expiresAt, TimePoint lastSeen = now) {
    return Lease{.mac = mac,
                 .ip = ip,
                 .state = state,
                 .expiresAt = expiresAt,
                 .hostname = std::nullopt,
                 .vendorClass = std::nullopt,
                 .clientID = std::nullopt,
                 .firstSeen = lastSeen,
                 .lastSeen = lastSeen};
}

inline Lease boundUntil(const MACAddress& mac, std::string_view ip, std::int64_t secondsLeft) {
    return makeLease(mac, address(ip), Lease::State::bound, secondsFromNow(secondsLeft));
}

inline Lease named(Lease lease, std::string hostname) {
    lease.hostname = std::move(hostname);
    return lease;
}

// The records' host names in list order, "-" for none.
inline std::vector<std::string> hostnamesOf(const std::vector<Lease>& leases) {
    std::vector<std::string> names;
    for (const auto& lease : leases) {
        names.push_back(lease.hostname.value_or("-"));
    }
    return names;
}

} // namespace corvane::testing
