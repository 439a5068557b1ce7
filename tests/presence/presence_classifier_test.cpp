#include <gtest/gtest.h>

#include "core/presence/presence_classifier.hpp"

namespace corvane {
namespace {

TEST(PresenceClassifier, AppliesTheFirstMatchingRule) {
    const auto leased = *MACAddress::parse("02:00:00:00:00:01");
    const auto stranger = *MACAddress::parse("02:00:00:00:00:99");
    const std::optional<ProbeResult> none;
    const std::optional<ProbeResult> answered = ProbeResult::tcpRefused(80);
    const std::optional<ProbeResult> silent = ProbeResult::silent();
    struct Case {
        const char* rule;
        std::optional<ProbeResult> probe;
        std::optional<MACAddress> arpMAC;
        bool linkUp;
        PresenceState expected;
    };
    const Case cases[] = {
        {"link down outweighs an answer", answered, leased, false, PresenceState::offline},
        {"link down before any probe", none, std::nullopt, false, PresenceState::offline},
        {"not probed yet", none, stranger, true, PresenceState::unknown},
        {"silence means gone", silent, leased, true, PresenceState::offline},
        {"silence outweighs a stranger in the cache", silent, stranger, true,
         PresenceState::offline},
        {"an answer without a cache entry", answered, std::nullopt, true, PresenceState::online},
        {"an answer from the leased device", answered, leased, true, PresenceState::online},
        {"an answer from another device", answered, stranger, true, PresenceState::conflict},
    };
    for (const auto& [rule, probe, arpMAC, linkUp, expected] : cases) {
        EXPECT_EQ(PresenceClassifier::classify(probe, arpMAC, leased, linkUp), expected) << rule;
    }
}

} // namespace
} // namespace corvane
