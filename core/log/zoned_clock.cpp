#include "core/log/zoned_clock.hpp"

#include <chrono>

namespace corvane {
namespace {

template <typename Clock>
ZonedClock split(std::chrono::time_point<Clock, std::chrono::seconds> wallTime) {
    const auto midnight = std::chrono::floor<date::days>(wallTime);
    const date::year_month_day calendar{midnight};
    const date::hh_mm_ss<std::chrono::seconds> time{wallTime - midnight};
    return ZonedClock{
        static_cast<int>(calendar.year()),        static_cast<unsigned>(calendar.month()),
        static_cast<unsigned>(calendar.day()),    static_cast<int>(time.hours().count()),
        static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count())};
}

} // namespace

ZonedClock ZonedClock::of(TimePoint at, const date::time_zone* zone) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(at);
    if (zone == nullptr) {
        return split(seconds);
    }
    return split(zone->to_local(seconds));
}

} // namespace corvane
