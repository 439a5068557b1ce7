#pragma once

#include <date/tz.h>

#include "core/leases/lease.hpp"

namespace corvane {

// The calendar day and wall-clock time of an instant in a time zone (null means UTC), to the
// whole second.
struct ZonedClock {
    int year = 1970;
    unsigned month = 1;
    unsigned day = 1;
    int hour = 0;
    int minute = 0;
    int second = 0;

    static ZonedClock of(TimePoint at, const date::time_zone* zone);
};

} // namespace corvane
