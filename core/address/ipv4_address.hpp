#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

using Bytes = std::vector<std::uint8_t>;

// An IPv4 address held as one number, the first dotted byte most significant, so that
// ordering by value is numeric order (10.0.0.9 < 10.0.0.10).
class IPv4Address {
public:
    constexpr IPv4Address() = default;
    constexpr explicit IPv4Address(std::uint32_t value) : value_(value) {}
    constexpr IPv4Address(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d)
        : value_(static_cast<std::uint32_t>(a) << 24 | static_cast<std::uint32_t>(b) << 16 |
                 static_cast<std::uint32_t>(c) << 8 | d) {}

    // Exactly four bytes, most significant first; anything else gives no value.
    static std::optional<IPv4Address> fromBytes(std::span<const std::uint8_t> bytes);
    // Strict dotted quad: four pieces of one to three ASCII digits, each at most 255.
    static std::optional<IPv4Address> parse(std::string_view text);

    static const IPv4Address zero;
    static const IPv4Address broadcast;
    static const IPv4Address loopback;

    constexpr std::uint32_t value() const { return value_; }
    std::array<std::uint8_t, 4> bytes() const;
    std::string description() const;
    bool isLinkLocal() const { return (value_ >> 16) == 0xA9FEu; }

    constexpr auto operator<=>(const IPv4Address&) const = default;

private:
    std::uint32_t value_ = 0;
};

inline constexpr IPv4Address IPv4Address::zero{0u};
inline constexpr IPv4Address IPv4Address::broadcast{0xFFFFFFFFu};
inline constexpr IPv4Address IPv4Address::loopback{127, 0, 0, 1};

} // namespace corvane

template <> struct std::hash<corvane::IPv4Address> {
    std::size_t operator()(const corvane::IPv4Address& address) const noexcept {
        return std::hash<std::uint32_t>{}(address.value());
    }
};
