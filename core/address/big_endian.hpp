#pragma once

#include <array>
#include <concepts>
#include <cstdint>

namespace corvane {

// The bytes of an integer, most significant first: the wire order of every DHCP field.
template <std::unsigned_integral Integer>
constexpr std::array<std::uint8_t, sizeof(Integer)> bigEndianBytes(Integer value) {
    std::array<std::uint8_t, sizeof(Integer)> bytes{};
    for (std::size_t index = 0; index < sizeof(Integer); ++index) {
        bytes[sizeof(Integer) - 1 - index] = static_cast<std::uint8_t>(value >> (8 * index));
    }
    return bytes;
}

} // namespace corvane
