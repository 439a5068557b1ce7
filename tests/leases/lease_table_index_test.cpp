#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "core/leases/lease_table.hpp"
#include "tests/leases/lease_fixtures.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;
using State = Lease::State;

// Every lookup answered by walking the list, as the table's rules read.
std::optional<Lease> literalLease(const LeaseTable& table, const MACAddress& mac) {
    for (const auto& lease : table.leases()) {
        if (lease.mac == mac) {
            return lease;
        }
    }
    return std::nullopt;
}

std::optional<Lease> literalHolder(const LeaseTable& table, IPv4Address ip, TimePoint at) {
    for (const auto& lease : table.leases()) {
        if (lease.ip == ip && lease.holdsAddress(at)) {
            return lease;
        }
    }
    return std::nullopt;
}

// Random runs of every change the table offers, over a handful of clients and addresses so
// that records collide, move between addresses, repeat a client (as a table read from
// elsewhere may) and get removed from the middle. After each change every lookup must agree
// with a walk over the list.
TEST(LeaseTableIndex, LookupsAgreeWithAWalkOverTheListAfterEveryChange) {
    std::mt19937_64 random(0x1DE7'7AB1EULL);
    const auto below = [&](std::uint32_t bound) {
        return static_cast<std::uint32_t>(random() % bound);
    };
    const auto randomAddress = [&] { return IPv4Address(address("10.0.0.1").value() + below(6)); };
    const auto randomLease = [&] {
        return makeLease(macNumbered(static_cast<std::uint8_t>(below(8))), randomAddress(),
                         static_cast<State>(below(4)),
                         secondsFromNow(static_cast<int>(below(5)) - 2));
    };
    for (int run = 0; run < 300; ++run) {
        std::vector<Lease> initial;
        for (auto count = below(10); count > 0; --count) {
            initial.push_back(randomLease());
        }
        LeaseTable table(initial, {});
        for (int step = 0; step < 40; ++step) {
            switch (below(5)) {
            case 0:
            case 1:
                table.upsert(randomLease());
                break;
            case 2:
                table.remove(macNumbered(static_cast<std::uint8_t>(below(8))));
                break;
            case 3:
                table.clearInactive(secondsFromNow(static_cast<int>(below(5)) - 2));
                break;
            default:
                table.dropOutside(AddressRange::ordered(randomAddress(), randomAddress()));
                break;
            }
            for (std::uint8_t number = 0; number < 8; ++number) {
                ASSERT_EQ(table.lease(macNumbered(number)),
                          literalLease(table, macNumbered(number)))
                    << "run " << run << " step " << step;
            }
            for (int offset = -2; offset <= 2; ++offset) {
                const auto at = secondsFromNow(offset);
                for (std::uint32_t host = 1; host <= 6; ++host) {
                    const IPv4Address ip(address("10.0.0.0").value() + host);
                    ASSERT_EQ(table.holder(ip, at), literalHolder(table, ip, at))
                        << "run " << run << " step " << step;
                }
            }
        }
    }
}

} // namespace
} // namespace corvane
