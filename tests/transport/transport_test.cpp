#include <cerrno>

#include <gtest/gtest.h>

#include "core/transport/local_network.hpp"

namespace corvane {
namespace {

TEST(LocalNetworkClassify, NamesTheCauseOfAFailedSend) {
    struct Case {
        const char* rule;
        int code;
        bool linkUp;
        bool addressPresent;
        SendFailure expected;
    };
    const auto other = [](int code) {
        return SendFailure::other(TransportError("send to 255.255.255.255:68", code).what());
    };
    const Case cases[] = {
        {"unreachable with link down", EHOSTUNREACH, false, true, SendFailure::linkDown()},
        {"unreachable with address missing", ENETUNREACH, true, false,
         SendFailure::addressMissing()},
        {"unreachable with everything present", EHOSTUNREACH, true, true,
         SendFailure::possiblyDenied()},
        {"firewall rejection with everything present", EPERM, true, true,
         SendFailure::possiblyDenied()},
        {"firewall rejection with link down is not recognised", EPERM, false, true, other(EPERM)},
        {"firewall rejection without address is not recognised", EACCES, true, false,
         other(EACCES)},
        {"no buffer space is not recognised", ENOBUFS, true, true, other(ENOBUFS)},
    };
    for (const auto& [rule, code, linkUp, addressPresent, expected] : cases) {
        const TransportError error("send to 255.255.255.255:68", code);
        EXPECT_EQ(LocalNetwork::classify(error, linkUp, addressPresent), expected) << rule;
    }
}

} // namespace
} // namespace corvane
