#include <filesystem>
#include <fstream>
#include <random>

#include <gtest/gtest.h>

#include "core/leases/lease_file.hpp"
#include "core/leases/lease_journal.hpp"
#include "tests/leases/lease_fixtures.hpp"
#include "tests/support/temporary_folder.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;
namespace fs = std::filesystem;

class LeaseJournalTest : public ::testing::Test {
protected:
    LeaseFile file() const { return LeaseFile(folder_ / "leases.json"); }
    std::string journalText() const { return testing::readFile(file().journalPath()); }
    void appendRaw(const std::string& bytes) const {
        std::ofstream(file().journalPath(), std::ios::binary | std::ios::app) << bytes;
    }
    // Writes the table's pending changes as one append, the way the server does per batch.
    static void commit(LeaseJournal& journal, LeaseTable& table) {
        const auto changes = table.takeChanges();
        journal.append(lease_journal::encodeChanges(table, changes));
    }

    testing::TemporaryFolder folder_;
};

// Random upserts, moves, removals and quarantine changes over a few clients, each step
// written to the journal as it would be by a server batch; the table loaded from the
// snapshot and the journal must equal the live one at every step, and stay equal after a
// compaction.
TEST_F(LeaseJournalTest, SnapshotPlusJournalEqualsTheTableThroughRandomChanges) {
    std::mt19937 random(7);
    LeaseTable table({boundUntil(macNumbered(1), "10.0.0.10", 600)}, {});
    file().save(table);
    LeaseJournal journal(file().journalPath(), false);
    journal.open();
    EXPECT_EQ(fs::status(file().journalPath()).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);
    for (int step = 0; step < 300; ++step) {
        const auto mac = macNumbered(static_cast<std::uint8_t>(random() % 12));
        switch (random() % 4) {
        case 0:
        case 1: {
            auto lease = boundUntil(mac, "10.0.0." + std::to_string(10 + random() % 8),
                                    static_cast<std::int64_t>(random() % 900) - 100);
            lease.hostname = "host \"" + std::to_string(step) + "\"\n";
            table.upsert(lease);
            break;
        }
        case 2:
            table.remove(mac);
            break;
        default:
            table.addQuarantine(address("10.0.0.20"), secondsFromNow(step), mac);
        }
        commit(journal, table);
        if (step % 37 == 0) {
            const auto loaded = file().load(now);
            ASSERT_EQ(loaded.table, table) << "step " << step;
            EXPECT_TRUE(loaded.uncleanStop);
        }
    }
    EXPECT_GT(journal.recordsSinceSnapshot(), 200u);
    file().save(table);
    journal.restart();
    EXPECT_EQ(journal.recordsSinceSnapshot(), 0u);
    EXPECT_EQ(file().load(now).table, table);
    journal.close();
    file().save(table);
    const auto afterCleanStop = file().load(now);
    EXPECT_EQ(afterCleanStop.table, table);
    EXPECT_FALSE(afterCleanStop.uncleanStop);
    EXPECT_EQ(journalText(), "");
}

TEST_F(LeaseJournalTest, TornDuplicateAndUnknownRecordsLeaveTheGoodOnes) {
    LeaseTable table;
    table.upsert(boundUntil(macNumbered(1), "10.0.0.10", 600));
    table.upsert(boundUntil(macNumbered(2), "10.0.0.11", 600));
    const auto records = lease_journal::encodeChanges(table, table.takeChanges());
    table.remove(macNumbered(2));
    const auto removal = lease_journal::encodeChanges(table, table.takeChanges());
    const auto tornLease = records.substr(0, records.find('\n') / 2);

    struct Case {
        std::string name;
        std::string journal;
        std::vector<std::string> expectedIPs;
    };
    const std::vector<Case> cases = {
        {"journal without snapshot", records, {"10.0.0.10", "10.0.0.11"}},
        {"records twice", records + records, {"10.0.0.10", "10.0.0.11"}},
        {"removal", records + removal, {"10.0.0.10"}},
        {"removal replayed on its own", removal + records + removal, {"10.0.0.10"}},
        {"torn last record",
         records + removal.substr(0, removal.size() - 1),
         {"10.0.0.10", "10.0.0.11"}},
        {"torn record in the middle", tornLease + "\n" + removal, {}},
        {"unknown and broken lines",
         "X what\nL {\"mac\":1}\n\n" + records,
         {"10.0.0.10", "10.0.0.11"}},
    };
    for (const auto& entry : cases) {
        fs::remove(file().path());
        fs::remove(file().journalPath());
        appendRaw(entry.journal);
        const auto loaded = file().load(now);
        std::vector<std::string> ips;
        for (const auto& lease : loaded.table.leases()) {
            ips.push_back(lease.ip.description());
        }
        EXPECT_EQ(ips, entry.expectedIPs) << entry.name;
        EXPECT_FALSE(loaded.uncleanStop) << entry.name;
    }
}

TEST_F(LeaseJournalTest, ReopeningAfterATornTailStartsTheMarkerOnItsOwnLine) {
    LeaseTable table;
    table.upsert(boundUntil(macNumbered(1), "10.0.0.10", 600));
    appendRaw(lease_journal::encodeChanges(table, table.takeChanges()) + "L {\"torn");
    LeaseJournal journal(file().journalPath(), true);
    journal.open();
    table.upsert(boundUntil(macNumbered(3), "10.0.0.13", 600));
    commit(journal, table);
    const auto loaded = file().load(now);
    EXPECT_EQ(loaded.table, table);
    EXPECT_TRUE(loaded.uncleanStop);
}

} // namespace
} // namespace corvane
