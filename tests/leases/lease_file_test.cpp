#include <cerrno>
#include <ctime>
#include <functional>
#include <map>

#include <gtest/gtest.h>

#include "core/leases/lease_file.hpp"
#include "tests/leases/lease_fixtures.hpp"
#include "tests/support/temporary_folder.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;
namespace fs = std::filesystem;

// Computed through strftime rather than the way the lease file formats it.
std::string localStamp(TimePoint at) {
    const auto seconds = std::chrono::system_clock::to_time_t(at);
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y%m%d-%H%M%S", &local);
    return text;
}

// Runs `action`, which must fail with exactly `expected`'s text and error number.
void expectFailure(const std::function<void()>& action, const LeaseFileError& expected) {
    try {
        action();
        ADD_FAILURE() << "no failure; expected: " << expected.what();
    } catch (const LeaseFileError& error) {
        EXPECT_STREQ(error.what(), expected.what());
        EXPECT_EQ(error.errorNumber(), expected.errorNumber());
    }
}

class LeaseFileTest : public ::testing::Test {
protected:
    fs::path folder() const { return folder_.path(); }
    fs::path leasesPath() const { return folder_ / "leases.json"; }

    std::vector<std::string> folderListing() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder_.path())) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    testing::TemporaryFolder folder_;
};

LeaseTable sampleTable() {
    auto described = makeLease(macNumbered(1), address("10.0.0.100"), Lease::State::bound,
                               secondsFromNow(86400), secondsFromNow(-5));
    described.firstSeen = secondsFromNow(-3600);
    described.hostname = "camera";
    described.vendorClass = "udhcp 1.36.1";
    described.clientID = "01:02:00:00:00:00:01";
    return LeaseTable({described,
                       makeLease(macNumbered(2), address("10.0.0.101"), Lease::State::offered,
                                 secondsFromNow(60)),
                       makeLease(macNumbered(3), address("10.0.0.102"), Lease::State::released,
                                 secondsFromNow(-60)),
                       makeLease(macNumbered(4), address("10.0.0.103"), Lease::State::reclaimed,
                                 secondsFromNow(-1))},
                      {Quarantine{address("10.0.0.104"), secondsFromNow(-1), macNumbered(2)},
                       Quarantine{address("10.0.0.105"), secondsFromNow(600), macNumbered(3)}});
}

TEST_F(LeaseFileTest, MissingFileLoadsAsAnEmptyTableAndCreatesNothing) {
    EXPECT_EQ(LeaseFile(leasesPath()).load(now), LeaseFile::LoadResult{});
    EXPECT_TRUE(folderListing().empty());
}

TEST_F(LeaseFileTest, SaveThenLoadGivesTheSameTableWithoutCleaningIt) {
    const LeaseFile file(folder() / "new" / "nested" / "leases.json");
    file.save(sampleTable());
    EXPECT_EQ(file.load(secondsFromNow(100000)), (LeaseFile::LoadResult{sampleTable(), {}, {}}));
    // Saving again replaces the file and leaves no temporary file behind; fractions of
    // seconds do not survive the ISO 8601 form.
    auto table = sampleTable();
    auto lease = table.leases()[1];
    lease.expiresAt += std::chrono::milliseconds(999);
    table.upsert(lease);
    file.save(table);
    EXPECT_EQ(file.load(now).table, sampleTable());
    EXPECT_EQ(fs::directory_iterator(file.path().parent_path())->path(), file.path());
    EXPECT_EQ(std::distance(fs::directory_iterator(file.path().parent_path()), {}), 1);
}

TEST_F(LeaseFileTest, AnythingButAVersion1DocumentIsMovedAsideUntouched) {
    const std::string lease = R"({"mac": "02:00:00:00:00:01", "ip": "10.0.0.5",
        "state": "bound", "expiresAt": "2025-03-01T13:00:00Z",
        "firstSeen": "2025-03-01T11:00:00Z", "lastSeen": "2025-03-01T11:00:00Z"})";
    const auto document = [&](const std::string& version, const std::string& leaseText) {
        return "{" + version + R"("leases": [)" + leaseText + R"(], "quarantine": []})";
    };
    const std::map<std::string, std::string> cases = {
        {"version 2", document(R"("version": 2, )", lease)},
        {"no version", document("", lease)},
        {"leases not a list", R"({"version": 1, "leases": {}, "quarantine": []})"},
        {"truncated", document(R"("version": 1, )", lease).substr(0, 80)},
        {"invalid UTF-8", "{\"version\": 1, \"leases\": [], \"quarantine\": [], \"x\": \"\xff\"}"},
    };
    ASSERT_EQ(LeaseFile(leasesPath()).load(now).table.leases().size(), 0u);
    writeFile(leasesPath(), document(R"("version": 1, )", lease));
    ASSERT_EQ(LeaseFile(leasesPath()).load(now).table.leases().size(), 1u)
        << "the cases below must differ from a loadable file";

    auto at = now;
    for (const auto& [rule, content] : cases) {
        at += std::chrono::seconds(1);
        writeFile(leasesPath(), content);
        const auto result = LeaseFile(leasesPath()).load(at);
        const auto expectedPath = folder() / ("leases.json.corrupt-" + localStamp(at));
        EXPECT_EQ(result, (LeaseFile::LoadResult{LeaseTable(), expectedPath, {}})) << rule;
        EXPECT_FALSE(fs::exists(leasesPath())) << rule;
        EXPECT_EQ(readFile(expectedPath), content) << rule;
    }
}

// One damaged record costs only itself: the file still goes aside, for the user to look at,
// and the rest of its records are kept and named in the result.
TEST_F(LeaseFileTest, KeepsEveryGoodRecordOfAPartlyDamagedFile) {
    const auto lease = [](const char* mac, const char* state, const char* expiresAt) {
        return std::string(R"({"mac": ")") + mac + R"(", "ip": "10.0.0.5", "state": ")" + state +
               R"(", )" + expiresAt + R"("firstSeen": "2025-03-01T11:00:00Z",
               "lastSeen": "2025-03-01T11:00:00Z"})";
    };
    const auto expires = R"("expiresAt": "2025-03-01T13:00:00Z", )";
    const std::string content =
        R"({"version": 1, "leases": [)" + lease("02:00:00:00:00:01", "bound", expires) + ", " +
        lease("02:00:00:00:00:zz", "bound", expires) + ", " +
        lease("02:00:00:00:00:03", "lost", expires) + ", " +
        lease("02:00:00:00:00:04", "bound", "") + ", 7, " +
        lease("02:00:00:00:00:06", "offered", expires) +
        R"(], "quarantine": [{"ip": "10.0.0.9", "until": "tomorrow", "reportedBy": "02:00:00:00:00:01"},
           {"ip": "10.0.0.8", "until": "2025-03-01T13:00:00Z", "reportedBy": "02:00:00:00:00:01"}]})";
    const std::vector<std::string> dropped = {
        "lease 2 (02:00:00:00:00:zz): Not a MAC address: 02:00:00:00:00:zz",
        "lease 3 (02:00:00:00:00:03): Not a lease state: lost",
        "lease 4 (02:00:00:00:00:04): no \"expiresAt\"",
        "lease 5: not a JSON object",
        "quarantine entry 1 (02:00:00:00:00:01): Not an ISO 8601 time: tomorrow",
    };
    writeFile(leasesPath(), content);

    const auto shown = LeaseFile(leasesPath()).read();
    EXPECT_EQ(shown.setAsideURL, std::nullopt);
    EXPECT_EQ(shown.droppedRecords, dropped);
    EXPECT_EQ(folderListing(), std::vector<std::string>{"leases.json"});

    const auto loaded = LeaseFile(leasesPath()).load(now);
    EXPECT_EQ(loaded.droppedRecords, dropped);
    EXPECT_EQ(loaded.table, shown.table);
    std::vector<std::string> kept;
    for (const auto& record : loaded.table.leases()) {
        kept.push_back(record.mac.description());
    }
    EXPECT_EQ(kept, (std::vector<std::string>{"02:00:00:00:00:01", "02:00:00:00:00:06"}));
    ASSERT_EQ(loaded.table.quarantine().size(), 1U);
    EXPECT_EQ(loaded.table.quarantine().front().ip, address("10.0.0.8"));
    ASSERT_TRUE(loaded.setAsideURL);
    EXPECT_EQ(readFile(*loaded.setAsideURL), content);
    EXPECT_FALSE(fs::exists(leasesPath()));
}

TEST_F(LeaseFileTest, ReadingOnlyLeavesAnUnreadableFileWhereItIs) {
    writeFile(leasesPath(), "not json");
    expectFailure([&] { (void)LeaseFile(leasesPath()).read(); },
                  LeaseFileError::notALeaseFile(leasesPath()));
    EXPECT_EQ(folderListing(), std::vector<std::string>{"leases.json"});
    EXPECT_EQ(readFile(leasesPath()), "not json");
}

TEST_F(LeaseFileTest, SettingAsideNeverReplacesAnEarlierSetAsideFile) {
    writeFile(leasesPath(), "first");
    const auto first = LeaseFile(leasesPath()).load(now).setAsideURL;
    ASSERT_TRUE(first);
    writeFile(leasesPath(), "second");
    expectFailure([&] { (void)LeaseFile(leasesPath()).load(now); },
                  LeaseFileError::couldNotSetAside(leasesPath(), *first, EEXIST));
    EXPECT_EQ(readFile(*first), "first");
    EXPECT_EQ(readFile(leasesPath()), "second");
    const auto later = LeaseFile(leasesPath()).load(secondsFromNow(1)).setAsideURL;
    ASSERT_TRUE(later);
    EXPECT_EQ(readFile(*later), "second");
}

TEST_F(LeaseFileTest, KeepsTheMostRecentlySeenRecordPerClientAtItsFirstPlace) {
    const auto seen = [](std::uint8_t mac, const char* name, std::int64_t secondsAgo) {
        return named(makeLease(macNumbered(mac), address("10.0.0.5"), Lease::State::bound,
                               secondsFromNow(60), secondsFromNow(-secondsAgo)),
                     name);
    };
    const LeaseFile file(leasesPath());
    // A table built directly may hold duplicates, as a hand-edited file can.
    file.save(LeaseTable({seen(1, "one, old", 50), seen(2, "two", 10), seen(1, "one, newest", 5),
                          seen(3, "three, first", 7), seen(1, "one, newer", 20),
                          seen(3, "three, tie", 7)},
                         {}));
    EXPECT_EQ(hostnamesOf(file.load(now).table.leases()),
              (std::vector<std::string>{"one, newest", "two", "three, first"}));
}

TEST_F(LeaseFileTest, FailedSaveKeepsWhatStoodThereAndSaysWhy) {
    // The rename over a folder fails; the message names the file by its last component.
    fs::create_directory(leasesPath());
    writeFile(leasesPath() / "keep", "kept");
    expectFailure([&] { LeaseFile(leasesPath()).save(sampleTable()); },
                  LeaseFileError::couldNotReplace(leasesPath(), EISDIR));
    EXPECT_EQ(readFile(leasesPath() / "keep"), "kept");

    // The temporary name is longer than the file's own, so here only it is too long.
    const auto longPath = folder() / (std::string(240, 'l') + ".json");
    writeFile(longPath, "previous");
    expectFailure([&] { LeaseFile(longPath).save(sampleTable()); },
                  LeaseFileError::couldNotWrite(longPath, ENAMETOOLONG));
    EXPECT_EQ(readFile(longPath), "previous");
    EXPECT_EQ(folderListing(),
              (std::vector<std::string>{"leases.json", longPath.filename().string()}));
}

} // namespace
} // namespace corvane
