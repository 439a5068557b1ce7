#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace corvane {

// The value of option 53 (RFC 2132 section 9.6).
enum class DHCPMessageType : std::uint8_t {
    discover = 1,
    offer = 2,
    request = 3,
    decline = 4,
    ack = 5,
    nak = 6,
    release = 7,
    inform = 8,
};

// The type for a raw option 53 byte; only 1 to 8 name a type.
constexpr std::optional<DHCPMessageType> dhcpMessageType(std::uint8_t raw) {
    if (raw < 1 || raw > 8) {
        return std::nullopt;
    }
    return static_cast<DHCPMessageType>(raw);
}

// The upper-case name shown in the log, e.g. "DISCOVER".
std::string_view description(DHCPMessageType type);

// JSON carries a message type as its raw number.
void to_json(nlohmann::json& document, DHCPMessageType type);
void from_json(const nlohmann::json& document, DHCPMessageType& type);

} // namespace corvane
