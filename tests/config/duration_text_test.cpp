#include <optional>
#include <vector>

#include <gtest/gtest.h>

#include "core/config/duration_text.hpp"

namespace corvane {
namespace {

TEST(DurationParsing, AcceptsDigitsWithOneLowerCaseUnitUpToTheLargest32BitCount) {
    const std::pair<const char*, std::uint32_t> cases[] = {{"90m", 5400},
                                                           {"24h", 86400},
                                                           {"7d", 604800},
                                                           {"45s", 45},
                                                           {"3600", 3600},
                                                           {"0s", 0},
                                                           {"0", 0},
                                                           {"007m", 420},
                                                           {"49710d", 4294944000},
                                                           {"71582788m", 4294967280},
                                                           {"4294967295", ~0u},
                                                           {"4294967295s", ~0u}};
    for (const auto& [text, seconds] : cases) {
        EXPECT_EQ(parseDuration(text), std::optional<std::uint32_t>(seconds)) << text;
    }
    // Leading zeros do not count towards overflow.
    EXPECT_EQ(parseDuration("000000000000000000000000001h"), 3600u);
}

TEST(DurationParsing, RefusesEverythingElse) {
    const char* const malformed[] = {"",    "m",   "s",  "1.5h", "1h30m",     " 2h",
                                     "2h ", "2H",  "2D", "2w",   "+5m",       "-5m",
                                     "5 m", "2hh", "h2", "1,5h", "\xd9\xa3m", "12\n"};
    const char* const overflowing[] = {
        "4294967296",           "4294967296s",           "49711d", "71582789m", "1193047h",
        "18446744073709551616", "184467440737095516150d"};
    std::vector<const char*> refused(std::begin(malformed), std::end(malformed));
    refused.insert(refused.end(), std::begin(overflowing), std::end(overflowing));
    for (const char* text : refused) {
        EXPECT_EQ(parseDuration(text), std::nullopt) << text;
    }
}

TEST(DurationFormatting, ShowsAtMostTwoPartsAndWholeDaysFromTwo) {
    const std::pair<std::uint32_t, const char*> cases[] = {
        {0, "0 s"},        {59, "59 s"},       {60, "1 m"},
        {90, "1 m 30 s"},  {3600, "1 h"},      {5400, "1 h 30 m"},
        {3661, "1 h 1 m"}, {7230, "2 h 30 s"}, {86400, "24 h"},
        {90000, "25 h"},   {172800, "2 d"},    {176400, "49 h"},
        {604800, "7 d"},   {2592000, "30 d"},  {~0u, "1193046 h 28 m"}};
    for (const auto& [seconds, text] : cases) {
        EXPECT_EQ(formatDuration(seconds), text) << seconds;
    }
}

} // namespace
} // namespace corvane
