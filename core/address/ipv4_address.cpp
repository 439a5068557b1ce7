#include "core/address/ipv4_address.hpp"

#include "core/address/text_pieces.hpp"

namespace corvane {

std::optional<IPv4Address> IPv4Address::fromBytes(std::span<const std::uint8_t> bytes) {
    if (bytes.size() != 4) {
        return std::nullopt;
    }
    return IPv4Address(bytes[0], bytes[1], bytes[2], bytes[3]);
}

std::optional<IPv4Address> IPv4Address::parse(std::string_view text) {
    const auto pieces = splitKeepingEmpty(text, '.');
    if (pieces.size() != 4) {
        return std::nullopt;
    }
    std::uint32_t value = 0;
    for (const auto piece : pieces) {
        if (piece.empty() || piece.size() > 3) {
            return std::nullopt;
        }
        std::uint32_t number = 0;
        for (const char character : piece) {
            if (character < '0' || character > '9') {
                return std::nullopt;
            }
            number = number * 10 + static_cast<std::uint32_t>(character - '0');
        }
        if (number > 255) {
            return std::nullopt;
        }
        value = value << 8 | number;
    }
    return IPv4Address(value);
}

std::array<std::uint8_t, 4> IPv4Address::bytes() const {
    return {static_cast<std::uint8_t>(value_ >> 24), static_cast<std::uint8_t>(value_ >> 16),
            static_cast<std::uint8_t>(value_ >> 8), static_cast<std::uint8_t>(value_)};
}

std::string IPv4Address::description() const {
    const auto parts = bytes();
    return std::to_string(parts[0]) + '.' + std::to_string(parts[1]) + '.' +
           std::to_string(parts[2]) + '.' + std::to_string(parts[3]);
}

} // namespace corvane
