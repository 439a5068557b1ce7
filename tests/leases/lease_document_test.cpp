#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/leases/lease_document.hpp"
#include "core/leases/lease_document_reader.hpp"
#include "core/leases/lease_file.hpp"
#include "core/leases/plain_lease_document_reader.hpp"
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

// A few random leases and holds whose texts come from `texts`.
LeaseTable randomTable(std::mt19937_64& random,
                       const std::vector<std::optional<std::string>>& texts) {
    const auto pick = [&] { return texts[random() % texts.size()]; };
    std::vector<Lease> leases;
    for (auto count = random() % 4; count > 0; --count) {
        // Few MACs and addresses, so that repeats (which the table settles) come up too.
        auto lease = makeLease(macNumbered(static_cast<std::uint8_t>(random() % 6)),
                               IPv4Address(static_cast<std::uint32_t>(random() % 6)),
                               static_cast<Lease::State>(random() % 4),
                               secondsFromNow(static_cast<std::int64_t>(random() % 100'000)));
        lease.hostname = pick();
        lease.vendorClass = pick();
        lease.clientID = pick();
        leases.push_back(lease);
    }
    std::vector<Quarantine> quarantine;
    for (auto count = random() % 3; count > 0; --count) {
        quarantine.push_back(Quarantine{IPv4Address(static_cast<std::uint32_t>(random())),
                                        secondsFromNow(static_cast<std::int64_t>(random() % 600)),
                                        macNumbered(static_cast<std::uint8_t>(random()))});
    }
    return LeaseTable(leases, quarantine);
}

TEST(LeaseDocument, WritesExactlyWhatTheJSONLibraryPrints) {
    std::mt19937_64 random(0xD0C'0E47ULL);
    for (int run = 0; run < 200; ++run) {
        const auto table = randomTable(random, deviceTexts);
        ASSERT_EQ(encodeLeaseDocument(table, LeaseFile::currentVersion), printedByTheLibrary(table))
            << "run " << run;
        // The journal's one-line form, likewise.
        for (const auto& lease : table.leases()) {
            std::string line;
            appendLeaseLine(line, lease);
            ASSERT_EQ(line, nlohmann::json(lease).dump(-1, ' ', false,
                                                       nlohmann::json::error_handler_t::replace))
                << "run " << run;
        }
    }
}

// The quick reader must never change what a document means: whatever it takes, it reads as
// the record-by-record reader does, and whatever it refuses goes to that reader unchanged.
void expectBothWaysAgree(std::string_view document, const std::string& label) {
    ASSERT_EQ(decodeLeaseDocument(document, LeaseFile::currentVersion),
              decodeLeaseDocumentRecordByRecord(document, LeaseFile::currentVersion))
        << label << "\n"
        << document;
}

bool quickReaderTakes(std::string_view document) {
    return decodePlainLeaseDocument(document, LeaseFile::currentVersion).has_value();
}

TEST(LeaseDocument, QuickReaderTakesOurOwnFilesAndReadsThemAlike) {
    std::mt19937_64 random(0x5CA'4AEULL);
    const std::vector<std::optional<std::string>> plainTexts = {std::nullopt, "", "printer-3",
                                                                "udhcp 1.36.1"};
    for (int run = 0; run < 200; ++run) {
        const bool plain = run % 2 == 0;
        const auto table = randomTable(random, plain ? plainTexts : deviceTexts);
        const auto document = encodeLeaseDocument(table, LeaseFile::currentVersion);
        expectBothWaysAgree(document, "run " + std::to_string(run));
        if (plain) {
            ASSERT_EQ(decodePlainLeaseDocument(document, LeaseFile::currentVersion), table);
        }
    }
}

// Every cut and every one-character change of a small document, read both ways.
TEST(LeaseDocument, QuickReaderAgreesOnDamagedDocuments) {
    auto lease = boundUntil(macNumbered(1), "10.0.0.5", 60);
    lease.hostname = "cam";
    const auto document = encodeLeaseDocument(
        LeaseTable({lease}, {Quarantine{address("10.0.0.9"), now, macNumbered(2)}}),
        LeaseFile::currentVersion);
    for (std::size_t cut = 0; cut < document.size(); ++cut) {
        expectBothWaysAgree(std::string_view(document).substr(0, cut),
                            "cut " + std::to_string(cut));
        for (const char replacement : "\"\\ 0-.e{}[],:nx\xc3"s) {
            auto changed = document;
            changed[cut] = replacement;
            expectBothWaysAgree(changed, "change " + std::to_string(cut));
        }
    }
}

TEST(LeaseDocument, QuickReaderLeavesWhatItDoesNotHandleToTheThoroughOne) {
    const std::string lease = R"("mac": "02:00:00:00:00:01", "ip": "10.0.0.5", "state": "bound",
        "expiresAt": "2025-03-01T13:00:00Z", "firstSeen": "2025-03-01T12:00:00+01:00",
        "lastSeen": "2025-03-01T12:00:00Z")";
    const auto withLease = [&](const std::string& extra) {
        return R"({"version": 1, "quarantine": [], "leases": [{)" + lease + extra + "}]}";
    };
    const struct {
        std::string document;
        bool quick;
    } cases[] = {
        {withLease(""), true},
        {withLease(R"(, "hostname": null, "clientID": "01:02")"), true},
        {"\t{\r\n\"leases\":[],\"quarantine\":[],\"version\":1}\n\n", true},
        {withLease("") + withLease(""), false},
        {withLease(R"(, "hostname": "say \"hi\"")"), false},
        {withLease(R"(, "hostname": "caf\u00e9")"), false},
        {withLease(", \"hostname\": \"caf\xc3\xa9\""), false},
        {withLease(R"(, "hostname": 7)"), false},
        {withLease(R"(, "comment": "kept by hand")"), false},
        {withLease(R"(, "mac": "02:00:00:00:00:02")"), false},
        {withLease(R"(, "state": "lost")"), false},
        {R"({"leases": [{"mac": "02:00:00:00:00:01"}, 5], "quarantine": [], "version": 1})", false},
        {R"({"leases": [], "quarantine": [], "version": 1, "note": {}})", false},
        {R"({"leases": [], "quarantine": [], "version": 1.0})", false},
        {R"({"leases": [], "quarantine": [], "version": 01})", false},
        {R"({"leases": [], "quarantine": [], "version": 2})", false},
        {R"({"leases": [], "quarantine": []})", false},
    };
    for (const auto& [document, quick] : cases) {
        EXPECT_EQ(quickReaderTakes(document), quick) << document;
        expectBothWaysAgree(document, "hand-written");
    }
}

} // namespace
} // namespace corvane
