#pragma once

#include <date/tz.h>

namespace corvane {

// The zone the user reads clock times in: $TZ when it names a known zone, else the
// system's; null (meaning UTC) when the machine has no time-zone data at all.
const date::time_zone* localTimeZone();

} // namespace corvane
