#include "core/packet/dhcp_message_type.hpp"

#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

#include "core/address/address_json.hpp"

namespace corvane {

std::string_view description(DHCPMessageType type) {
    switch (type) {
    case DHCPMessageType::discover:
        return "DISCOVER";
    case DHCPMessageType::offer:
        return "OFFER";
    case DHCPMessageType::request:
        return "REQUEST";
    case DHCPMessageType::decline:
        return "DECLINE";
    case DHCPMessageType::ack:
        return "ACK";
    case DHCPMessageType::nak:
        return "NAK";
    case DHCPMessageType::release:
        return "RELEASE";
    case DHCPMessageType::inform:
        return "INFORM";
    }
    return "?";
}

void to_json(nlohmann::json& document, DHCPMessageType type) {
    document = static_cast<std::uint8_t>(type);
}

void from_json(const nlohmann::json& document, DHCPMessageType& type) {
    std::optional<DHCPMessageType> parsed;
    if (document.is_number_integer()) {
        const auto raw = document.get<std::int64_t>();
        if (raw >= 0 && raw <= 255) {
            parsed = dhcpMessageType(static_cast<std::uint8_t>(raw));
        }
    }
    if (!parsed) {
        throw DecodingError("Not a DHCP message type: " + document.dump());
    }
    type = *parsed;
}

} // namespace corvane
