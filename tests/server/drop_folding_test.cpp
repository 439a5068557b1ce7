#include <gtest/gtest.h>

#include "core/server/drop_folding.hpp"
#include "core/server/server_texts.hpp"

namespace corvane {
namespace {

using namespace std::chrono_literals;

const TimePoint start{std::chrono::seconds{1'740'830'400}};

ServerEvent drop(std::string reason) {
    return ServerEvent::Dropped{std::move(reason), std::nullopt};
}

// What reaches the log for events handed in at the given seconds after the start.
std::vector<ServerEvent> passAll(DropFolding& folding,
                                 const std::vector<std::pair<int, ServerEvent>>& events) {
    std::vector<ServerEvent> out;
    for (const auto& [second, event] : events) {
        folding.pass(event, start + std::chrono::seconds{second}, out);
    }
    return out;
}

TEST(DropFolding, ShowsTheFirstOfEachReasonAndCountsTheRestOfItsWindow) {
    const auto pool = drop("address pool exhausted");
    const auto relayed = drop("relayed request (not served)");
    const ServerEvent info = ServerEvent::Info{"probing"};
    const auto folded = [](const char* reason, std::size_t count) {
        return drop(server_texts::foldedDrops(reason, count, 10));
    };
    struct Case {
        const char* rule;
        std::vector<std::pair<int, ServerEvent>> in;
        std::vector<ServerEvent> out;
    };
    const Case cases[] = {
        {"reasons are folded apart; other events always pass",
         {{0, pool}, {1, pool}, {2, relayed}, {3, info}, {4, pool}, {5, relayed}},
         {pool, relayed, info}},
        {"the count follows the window's end, before the next event",
         {{0, pool}, {1, pool}, {9, pool}, {10, info}, {11, pool}},
         {pool, folded("address pool exhausted", 2), info, pool}},
        {"a window without repeats ends quietly", {{0, pool}, {10, pool}}, {pool, pool}},
        {"a stop reports what is pending",
         {{0, pool}, {1, pool}, {2, ServerEvent::Stopped{}}},
         {pool, folded("address pool exhausted", 1), ServerEvent::Stopped{}}},
    };
    for (const auto& [rule, in, out] : cases) {
        SCOPED_TRACE(rule);
        DropFolding folding;
        EXPECT_EQ(passAll(folding, in), out);
    }
}

TEST(DropFolding, FoldsReasonsPastItsBoundTogether) {
    DropFolding folding;
    std::vector<std::pair<int, ServerEvent>> flood;
    for (std::size_t index = 0; index < DropFolding::maxReasons + 3; ++index) {
        flood.emplace_back(0, drop("DECLINE for address " + std::to_string(index)));
    }
    flood.emplace_back(11, ServerEvent::Stopped{});
    const auto out = passAll(folding, flood);
    ASSERT_EQ(out.size(), DropFolding::maxReasons + 3);
    EXPECT_EQ(out[DropFolding::maxReasons], flood[DropFolding::maxReasons].second);
    EXPECT_EQ(out[DropFolding::maxReasons + 1], drop(server_texts::foldedDrops("", 2, 10)));
}

TEST(DropFoldingText, GroupsThousands) {
    EXPECT_EQ(server_texts::foldedDrops("address pool exhausted", 19903, 10),
              "address pool exhausted … and 19,903 more like this in the last 10 s");
    EXPECT_EQ(server_texts::groupedDigits(999), "999");
    EXPECT_EQ(server_texts::groupedDigits(1234567), "1,234,567");
}

} // namespace
} // namespace corvane
