#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

// Reads a lease time typed by the user: digits with an optional unit letter s, m, h or d
// (lower case only), such as 90m, 24h, 7d, 45s or a bare 3600. Nothing is trimmed, and no
// value is given for anything else or for more than 4294967295 seconds. Whether the time
// is a sensible lease is `ServerConfig::validate()`'s business.
std::optional<std::uint32_t> parseDuration(std::string_view text);

// A short display form such as "1 h 30 m" or "7 d": at most two parts, a single day shown
// as "24 h". Not meant to be read back by `parseDuration`.
std::string formatDuration(std::uint32_t seconds);

} // namespace corvane
