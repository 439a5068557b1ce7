#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace corvane {

// An Ethernet hardware address; always six bytes in wire order.
class MACAddress {
public:
    using ByteArray = std::array<std::uint8_t, 6>;

    constexpr MACAddress() = default;
    constexpr explicit MACAddress(const ByteArray& bytes) : bytes_(bytes) {}

    // Exactly six bytes; anything else gives no value.
    static std::optional<MACAddress> fromBytes(std::span<const std::uint8_t> bytes);
    // Six colon-separated pairs of hexadecimal digits, either case.
    static std::optional<MACAddress> parse(std::string_view text);

    const ByteArray& bytes() const { return bytes_; }
    // Lower-case pairs joined by ":", e.g. 00:1a:2b:3c:4d:5e.
    std::string description() const;

    constexpr auto operator<=>(const MACAddress&) const = default;

private:
    ByteArray bytes_{};
};

} // namespace corvane

template <> struct std::hash<corvane::MACAddress> {
    std::size_t operator()(const corvane::MACAddress& address) const noexcept {
        std::uint64_t folded = 0;
        for (const auto byte : address.bytes()) {
            folded = folded << 8 | byte;
        }
        return std::hash<std::uint64_t>{}(folded);
    }
};
