#pragma once

#include <chrono>
#include <cstdint>
#include <ostream>
#include <string_view>

#include "core/config/server_config.hpp"
#include "core/leases/lease_table.hpp"
#include "core/responder/decision.hpp"
#include "core/responder/responder.hpp"

namespace corvane {

// Readable failures: name the case and its text instead of dumping bytes.
inline void PrintTo(const ServerEvent& event, std::ostream* out) {
    if (const auto* dropped = event.as<ServerEvent::Dropped>()) {
        *out << "dropped(" << dropped->reason << ")";
    } else if (const auto* info = event.as<ServerEvent::Info>()) {
        *out << "info(" << info->text << ")";
    } else if (const auto* changed = event.as<ServerEvent::LeaseChanged>()) {
        *out << "leaseChanged(" << changed->lease.mac.description() << " "
             << changed->lease.ip.description() << " " << leaseStateName(changed->lease.state)
             << ")";
    } else if (const auto* removed = event.as<ServerEvent::LeaseRemoved>()) {
        *out << "leaseRemoved(" << removed->mac.description() << ")";
    } else if (const auto* raised = event.as<ServerEvent::NoticeRaised>()) {
        *out << "noticeRaised(" << raised->notice.message << ")";
    } else {
        *out << "event #" << event.value().index();
    }
}

} // namespace corvane

namespace corvane::testing {

using namespace std::chrono_literals;
using State = Lease::State;
using Notes = std::vector<ServerEvent>;

// 2025-03-01T12:00:00Z.
inline constexpr TimePoint now{std::chrono::seconds{1'740'830'400}};

inline IPv4Address ip(std::string_view text) {
    return IPv4Address::parse(text).value();
}

inline constexpr MACAddress device(std::uint8_t number) {
    return MACAddress(MACAddress::ByteArray{0x02, 0x00, 0x5e, 0x00, 0x00, number});
}
inline const MACAddress client = device(0xC1);

// 192.168.2.1/24 lending .100 to .110 for an hour, with a router and two DNS servers.
inline ServerConfig testConfig() {
    return ServerConfig{.serverIP = ip("192.168.2.1"),
                        .prefixLength = 24,
                        .rangeStart = ip("192.168.2.100"),
                        .rangeEnd = ip("192.168.2.110"),
                        .leaseSeconds = 3600,
                        .router = ip("192.168.2.1"),
                        .dns = {ip("192.168.2.1"), ip("9.9.9.9")}};
}

inline Lease leaseOf(const MACAddress& mac, std::string_view address, State state,
                     std::chrono::seconds expiresIn, std::chrono::seconds seenAgo = 0s) {
    Lease lease;
    lease.mac = mac;
    lease.ip = ip(address);
    lease.state = state;
    lease.expiresAt = now + expiresIn;
    lease.firstSeen = now - seenAgo;
    lease.lastSeen = now - seenAgo;
    return lease;
}

inline DecisionContext contextOf(LeaseTable table, TimePoint at = now) {
    return DecisionContext{std::move(table), {}, {}, at};
}

inline std::optional<MACAddress> holderOf(const LeaseTable& table, IPv4Address address,
                                          TimePoint at = now) {
    const auto holder = table.holder(address, at);
    return holder ? std::optional(holder->mac) : std::nullopt;
}

inline const Reply* replyOf(const Decision& decision) {
    return std::get_if<Reply>(&decision.action);
}

inline std::vector<std::uint8_t> optionCodes(const DHCPPacket& packet) {
    std::vector<std::uint8_t> codes;
    for (const auto& field : packet.options) {
        codes.push_back(field.code);
    }
    return codes;
}

inline Bytes bytesOf(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
            static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

inline Bytes text(std::string_view characters) {
    return Bytes(characters.begin(), characters.end());
}

} // namespace corvane::testing
