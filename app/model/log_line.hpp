#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace corvane {

// One line of the on-screen log. The kind only chooses how the line is shown (its colour);
// the text is exactly the line written to the day's log file.
struct LogLine {
    enum class Kind { rx, tx, presence, notice, other };

    std::int64_t id = 0;
    std::string text;
    Kind kind = Kind::other;

    friend bool operator==(const LogLine&, const LogLine&) = default;
};

std::string_view logLineKindName(LogLine::Kind kind);

} // namespace corvane
