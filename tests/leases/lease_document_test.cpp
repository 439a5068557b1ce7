#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/leases/lease_document.hpp"
#include "core/leases/lease_file.hpp"
#include "tests/leases/lease_fixtures.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;
using namespace std::string_literals;

// The same document built as a JSON tree and printed by the library, which is what the
// lease file's text is defined by.
std::string printedByTheLibrary(const LeaseTable& table) {
    nlohmann::json document = table;
    document["version"] = LeaseFile::currentVersion;
    return document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

// Texts a device may send: plain, empty, quotes and backslashes, control characters,
// DEL, valid non-ASCII and bytes that are not UTF-8 at all.
const std::vector<std::optional<std::string>> deviceTexts = {
    std::nullopt, "",        "printer-3",   "say \"hi\"", "C:\\boot",    "tab\there",
    "nul\0x"s,    "del\x7f", "caf\xc3\xa9", "bad\xff",    "cut\xe2\x82", "\x01\x1f",
};

TEST(LeaseDocument, WritesExactlyWhatTheJSONLibraryPrints) {
    std::mt19937_64 random(0xD0C'0E47ULL);
    const auto pick = [&] { return deviceTexts[random() % deviceTexts.size()]; };
    for (int run = 0; run < 200; ++run) {
        std::vector<Lease> leases;
        for (auto count = random() % 4; count > 0; --count) {
            auto lease = makeLease(macNumbered(static_cast<std::uint8_t>(random())),
                                   IPv4Address(static_cast<std::uint32_t>(random())),
                                   static_cast<Lease::State>(random() % 4),
                                   secondsFromNow(static_cast<std::int64_t>(random() % 100'000)));
            lease.hostname = pick();
            lease.vendorClass = pick();
            lease.clientID = pick();
            leases.push_back(lease);
        }
        std::vector<Quarantine> quarantine;
        for (auto count = random() % 3; count > 0; --count) {
            quarantine.push_back(
                Quarantine{IPv4Address(static_cast<std::uint32_t>(random())),
                           secondsFromNow(static_cast<std::int64_t>(random() % 600)),
                           macNumbered(static_cast<std::uint8_t>(random()))});
        }
        const LeaseTable table(leases, quarantine);
        ASSERT_EQ(encodeLeaseDocument(table, LeaseFile::currentVersion), printedByTheLibrary(table))
            << "run " << run;
    }
}

} // namespace
} // namespace corvane
