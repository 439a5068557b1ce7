#include <gtest/gtest.h>
#include <net/if.h>

#include "core/server/arrival_check.hpp"
#include "core/server/server_texts.hpp"
#include "tests/server/server_test_support.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;

TEST(ServerTexts, ReadAsTheLogShowsThem) {
    struct Case {
        std::string text;
        std::string expected;
    };
    const Case cases[] = {
        {server_texts::malformed("too short (12 bytes)"), "malformed (too short (12 bytes))"},
        {server_texts::arrivedOnOtherCard("eth2", "eth1"), "arrived on eth2 instead of eth1"},
        {server_texts::droppedOutsideRange(ip("10.0.0.5"), device(1)),
         "dropped lease 10.0.0.5 for 02:00:5e:00:00:01: outside the range"},
        {server_texts::probingBeforeReuse(ip("192.168.0.120")),
         "probing 192.168.0.120 before giving it to another device"},
        {server_texts::notSent(DHCPMessageType::offer, server_texts::linkDown),
         "OFFER not sent: link down"},
        {server_texts::notSent(DHCPMessageType::ack,
                               server_texts::addressNotOnCard(ip("192.168.0.1"), "eth1")),
         "ACK not sent: 192.168.0.1 is not on eth1 right now"},
        {server_texts::notSent(DHCPMessageType::nak, server_texts::socketClosed),
         "NAK not sent: socket closed"},
        {server_texts::couldNotReopen("eth1", "bind 0.0.0.0:67 failed"),
         "could not reopen eth1: bind 0.0.0.0:67 failed"},
        {server_texts::cardIsBack("eth3"), "eth3 is back"},
        {std::string(server_texts::arrivalCheckUnavailable),
         "arrival interface check unavailable; relying on SO_BINDTODEVICE"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(text, expected);
    }
}

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
