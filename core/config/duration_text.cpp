#include "core/config/duration_text.hpp"

#include <limits>
#include <vector>

namespace corvane {
namespace {

std::optional<std::uint64_t> secondsPerUnit(char unit) {
    switch (unit) {
    case 's':
        return 1;
    case 'm':
        return 60;
    case 'h':
        return 3600;
    case 'd':
        return 86400;
    default:
        return std::nullopt;
    }
}

std::optional<std::uint64_t> unsignedDecimal(std::string_view digits) {
    constexpr auto largest = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t value = 0;
    for (const char character : digits) {
        if (character < '0' || character > '9') {
            return std::nullopt;
        }
        const auto digit = static_cast<std::uint64_t>(character - '0');
        if (value > (largest - digit) / 10) {
            return std::nullopt;
        }
        value = value * 10 + digit;
    }
    return value;
}

} // namespace

std::optional<std::uint32_t> parseDuration(std::string_view text) {
    if (text.empty()) {
        return std::nullopt;
    }
    std::uint64_t multiplier = 1;
    if (const auto unit = secondsPerUnit(text.back())) {
        multiplier = *unit;
        text.remove_suffix(1);
    }
    if (text.empty()) {
        return std::nullopt;
    }
    const auto number = unsignedDecimal(text);
    constexpr std::uint64_t largest = std::numeric_limits<std::uint32_t>::max();
    if (!number || *number > largest / multiplier) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(*number * multiplier);
}

std::string formatDuration(std::uint32_t seconds) {
    constexpr std::uint32_t day = 86400;
    if (seconds >= 2 * day && seconds % day == 0) {
        return std::to_string(seconds / day) + " d";
    }
    std::vector<std::string> parts;
    if (seconds >= 3600) {
        parts.push_back(std::to_string(seconds / 3600) + " h");
    }
    if (seconds % 3600 >= 60) {
        parts.push_back(std::to_string(seconds % 3600 / 60) + " m");
    }
    if (seconds % 60 != 0 || parts.empty()) {
        parts.push_back(std::to_string(seconds % 60) + " s");
    }
    // Two parts are precise enough to read at a glance; "1 h 1 m" drops its second.
    return parts.size() == 1 ? parts[0] : parts[0] + ' ' + parts[1];
}

} // namespace corvane
