#include <gtest/gtest.h>
#include <net/if.h>

#include "core/server/arrival_check.hpp"

namespace corvane {
namespace {

TEST(WrongCardReason, NamesTheArrivalCardOnlyWhenItDiffersFromTheServedOne) {
    const std::uint32_t loopbackIndex = if_nametoindex("lo");
    ASSERT_NE(loopbackIndex, 0u);
    // No card has this index: the kernel hands them out from 1 upwards.
    const std::uint32_t vanishedIndex = 0x7ffffff0;
    struct Case {
        const char* rule;
        std::optional<std::uint32_t> arrival;
        std::optional<std::string> reason;
    };
    const Case cases[] = {
        {"no arrival record is no reason", std::nullopt, std::nullopt},
        {"the served card itself", 7, std::nullopt},
        {"another card by its name", loopbackIndex, "arrived on lo instead of srv1"},
        {"a card without a name by its index", vanishedIndex,
         "arrived on interface 2147483632 instead of srv1"},
    };
    for (const auto& [rule, arrival, reason] : cases) {
        EXPECT_EQ(wrongCardReason(arrival, 7, "srv1"), reason) << rule;
    }
}

} // namespace
} // namespace corvane
