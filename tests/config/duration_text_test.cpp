#include <optional>
#include <vector>

#include <gtest/gtest.h>

#include "core/config/duration_text.hpp"

namespace corvane {
namespace {

TEST(DurationParsing, AcceptsDigitsWithOneLowerCaseUnitUpToTheLargest32BitCount) {
    const std::pair<const char*, std::uint32_t> cases[] = {
        {"90m", 5400}, {"24h", 86400},         {"7d", 604800},      {"3600", 3600},
        {"0", 0},      {"49710d", 4294944000}, {"4294967295", ~0u}, {"4294967295s", ~0u}};
    for (const auto& [text, seconds] : cases) {
        EXPECT_EQ(parseDuration(text), std::optional<std::uint32_t>(seconds)) << text;
    }
    // Leading zeros do not count towards overflow.
    EXPECT_EQ(parseDuration("000000000000000000000000001h"), 3600u);
}

TEST(DurationParsing, RefusesEverythingElse) {
    const char* const malformed[] = {"", "m", "1.5h", "1h30m", " 2h", "2H", "-5m", "\xd9\xa3m"};
    const char* const overflowing[] = {"4294967296", "49711d", "71582789m", "18446744073709551616"};
    std::vector<const char*> refused(std::begin(malformed), std::end(malformed));
    refused.insert(refused.end(), std::begin(overflowing), std::end(overflowing));
    for (const char* text : refused) {
        EXPECT_EQ(parseDuration(text), std::nullopt) << text;
    }
}

TEST(DurationFormatting, ShowsAtMostTwoPartsAndWholeDaysFromTwo) {
    const std::pair<std::uint32_t, const char*> cases[] = {
        {0, "0 s"},        {59, "59 s"},       {90, "1 m 30 s"},
        {3661, "1 h 1 m"}, {7230, "2 h 30 s"}, {90000, "25 h"},
        {172800, "2 d"},   {176400, "49 h"},   {~0u, "1193046 h 28 m"}};
    for (const auto& [seconds, text] : cases) {
        EXPECT_EQ(formatDuration(seconds), text) << seconds;
    }
}

} // namespace
} // namespace corvane
