#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <date/tz.h>

#include "core/events/packet_summary.hpp"
#include "core/events/server_event.hpp"
#include "core/leases/lease.hpp"

// How events read in the live log, the daily files and the JSON form. Pure functions: a
// time zone is always passed in, and a null zone means UTC.
namespace corvane::EventLog {

// Labels are padded to this width so the texts line up; longer labels are never cut.
inline constexpr std::size_t labelWidth = 12;

// "{HH:MM:SS.mmm}  {label padded to 12} {text}", or nothing for noticeCleared.
std::optional<std::string> line(const ServerEvent& event, TimePoint at,
                                const date::time_zone* zone);
std::string line(std::string_view label, std::string_view text, TimePoint at,
                 const date::time_zone* zone);
// A one-line JSON object with sorted keys, or nothing for noticeCleared.
std::optional<std::string> json(const ServerEvent& event, TimePoint at);
// The event's kind word, e.g. "leaseChanged", or "notice" for noticeRaised.
std::string kind(const ServerEvent& event);
// Local hours, minutes, seconds and milliseconds: "%02d:%02d:%02d.%03d".
std::string timestamp(TimePoint at, const date::time_zone* zone);
// A received packet in one line: MAC, host, vendor, requested address, then what is present.
std::string describe(const PacketSummary& packet);

} // namespace corvane::EventLog
