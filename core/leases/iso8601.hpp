#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "core/leases/lease.hpp"

namespace corvane {

// UTC with whole seconds and the "Z" designator, e.g. 2025-03-01T12:00:00Z; a fraction of
// a second is dropped (rounded towards the past).
std::string formatISO8601(TimePoint time);

// Date, time and time-zone designator ("Z" or ±hh:mm) with whole seconds, nothing more and
// nothing less. Impossible dates and times, and instants the clock cannot represent, give no
// value.
std::optional<TimePoint> parseISO8601(std::string_view text);

// A time as it appears in our JSON documents: its ISO 8601 text. Anything that is not text
// throws nlohmann's type error; text that does not parse throws DecodingError.
TimePoint timePointFromJSON(const nlohmann::json& document);

} // namespace corvane
