#include "core/leases/iso8601.hpp"

#include <cstdint>

#include <date/date.h>

#include "core/address/address_json.hpp"

namespace corvane {

namespace {

using Seconds = std::chrono::seconds;

// Reads exactly `width` ASCII digits at `position`; anything else gives no value.
std::optional<int> digitsAt(std::string_view text, std::size_t position, std::size_t width) {
    if (position + width > text.size()) {
        return std::nullopt;
    }
    int number = 0;
    for (std::size_t index = position; index < position + width; ++index) {
        const char character = text[index];
        if (character < '0' || character > '9') {
            return std::nullopt;
        }
        number = number * 10 + (character - '0');
    }
    return number;
}

// Writes the last `width` decimal digits of a non-negative number over `text` at `position`.
void writeDigits(std::string& text, std::size_t position, std::size_t width, int number) {
    for (std::size_t index = position + width; index > position; --index) {
        text[index - 1] = static_cast<char>('0' + number % 10);
        number /= 10;
    }
}

bool hasCharacterAt(std::string_view text, std::size_t position, char expected) {
    return position < text.size() && text[position] == expected;
}

// The offset east of UTC in seconds, from "Z" or "+hh:mm" / "-hh:mm" filling the rest.
std::optional<std::int64_t> zoneOffsetAt(std::string_view text, std::size_t position) {
    const auto zone = text.substr(position);
    if (zone == "Z") {
        return 0;
    }
    if (zone.size() != 6 || (zone[0] != '+' && zone[0] != '-') || zone[3] != ':') {
        return std::nullopt;
    }
    const auto hours = digitsAt(zone, 1, 2);
    const auto minutes = digitsAt(zone, 4, 2);
    if (!hours || !minutes || *hours > 23 || *minutes > 59) {
        return std::nullopt;
    }
    const std::int64_t offset = *hours * 3600 + *minutes * 60;
    return zone[0] == '-' ? -offset : offset;
}

} // namespace

std::string formatISO8601(TimePoint time) {
    const auto seconds = date::floor<Seconds>(time);
    const auto day = date::floor<date::days>(seconds);
    const date::year_month_day calendarDate{day};
    const date::hh_mm_ss<Seconds> clock{seconds - day};
    // The clock's range keeps the year within 1677...2262, so four digits always suffice.
    std::string text = "0000-00-00T00:00:00Z";
    writeDigits(text, 0, 4, static_cast<int>(calendarDate.year()));
    writeDigits(text, 5, 2, static_cast<int>(static_cast<unsigned>(calendarDate.month())));
    writeDigits(text, 8, 2, static_cast<int>(static_cast<unsigned>(calendarDate.day())));
    writeDigits(text, 11, 2, static_cast<int>(clock.hours().count()));
    writeDigits(text, 14, 2, static_cast<int>(clock.minutes().count()));
    writeDigits(text, 17, 2, static_cast<int>(clock.seconds().count()));
    return text;
}

std::optional<TimePoint> parseISO8601(std::string_view text) {
    // yyyy-mm-ddThh:mm:ss followed by the zone designator.
    const auto year = digitsAt(text, 0, 4);
    const auto month = digitsAt(text, 5, 2);
    const auto day = digitsAt(text, 8, 2);
    const auto hour = digitsAt(text, 11, 2);
    const auto minute = digitsAt(text, 14, 2);
    const auto second = digitsAt(text, 17, 2);
    if (!year || !month || !day || !hour || !minute || !second || !hasCharacterAt(text, 4, '-') ||
        !hasCharacterAt(text, 7, '-') || !hasCharacterAt(text, 10, 'T') ||
        !hasCharacterAt(text, 13, ':') || !hasCharacterAt(text, 16, ':')) {
        return std::nullopt;
    }
    const auto offset = zoneOffsetAt(text, 19);
    if (!offset) {
        return std::nullopt;
    }
    const date::year_month_day calendarDate{date::year{*year},
                                            date::month{static_cast<unsigned>(*month)},
                                            date::day{static_cast<unsigned>(*day)}};
    if (!calendarDate.ok() || *hour > 23 || *minute > 59 || *second > 59) {
        return std::nullopt;
    }
    // Work in seconds, which cannot overflow for four-digit years, and only then check that
    // the clock's finer unit can hold the instant.
    const auto seconds = date::sys_days{calendarDate}.time_since_epoch() +
                         Seconds{*hour * 3600 + *minute * 60 + *second} - Seconds{*offset};
    constexpr auto earliest = date::ceil<Seconds>(TimePoint::min().time_since_epoch());
    constexpr auto latest = date::floor<Seconds>(TimePoint::max().time_since_epoch());
    if (seconds < earliest || seconds > latest) {
        return std::nullopt;
    }
    return TimePoint{std::chrono::duration_cast<TimePoint::duration>(seconds)};
}

TimePoint timePointFromJSON(const nlohmann::json& document) {
    const auto text = document.get<std::string>();
    const auto time = parseISO8601(text);
    if (!time) {
        throw DecodingError("Not an ISO 8601 time: " + text);
    }
    return *time;
}

} // namespace corvane
