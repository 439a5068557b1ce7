#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>

#include <date/date.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "core/log/event_log.hpp"
#include "core/log/log_file_writer.hpp"
#include "tests/support/temporary_folder.hpp"

namespace corvane {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

class LogFileWriterFiles : public ::testing::Test {
protected:
    testing::TemporaryFolder folder;
};

const date::time_zone* berlin() {
    return date::locate_zone("Europe/Berlin");
}

// 2025-03-01 00:00 in Berlin, which is 2025-02-28 23:00 UTC.
const TimePoint berlinMidnight = date::sys_days{date::year{2025} / 2 / 28} + 23h;

TEST(LogFileName, IsTheLocalDate) {
    struct Case {
        const char* rule;
        TimePoint at;
        const date::time_zone* zone;
        const char* name;
    };
    const Case cases[] = {
        {"last millisecond of the day in Berlin", berlinMidnight - 1ms, berlin(), "2025-02-28.log"},
        {"first instant of the next day in Berlin", berlinMidnight, berlin(), "2025-03-01.log"},
        {"the same instant is still the old day in UTC", berlinMidnight, nullptr, "2025-02-28.log"},
        {"month and day keep two digits", date::sys_days{date::year{2025} / 1 / 2} + 1h, nullptr,
         "2025-01-02.log"},
    };
    for (const auto& [rule, at, zone, name] : cases) {
        EXPECT_EQ(LogFileWriter::fileName(at, zone), name) << rule;
    }
}

TEST_F(LogFileWriterFiles, RollOverToANewFileAtLocalMidnight) {
    const auto directory = folder / "nested" / "logs";
    {
        LogFileWriter writer(directory, berlin());
        EXPECT_FALSE(fs::exists(directory)) << "the constructor must not touch the disk";
        const auto before = berlinMidnight - 1ms;
        writer.append(EventLog::line("INFO", "last of the day", before, berlin()), before);
        writer.append(EventLog::line("INFO", "first of the day", berlinMidnight, berlin()),
                      berlinMidnight);
        writer.flush();
    }
    EXPECT_EQ(testing::readFile(directory / "2025-02-28.log"),
              "23:59:59.999  INFO         last of the day\n");
    EXPECT_EQ(testing::readFile(directory / "2025-03-01.log"),
              "00:00:00.000  INFO         first of the day\n");
}

TEST_F(LogFileWriterFiles, KeepsSubmissionOrderAndAppendsToExistingFiles) {
    const auto file = folder / LogFileWriter::fileName(berlinMidnight, berlin());
    std::ofstream(file) << "from an earlier run\n";

    std::string expected = "from an earlier run\n";
    {
        LogFileWriter writer(folder.path(), berlin());
        for (int index = 0; index < 300; ++index) {
            const auto line = "line " + std::to_string(index);
            writer.append(line, berlinMidnight + std::chrono::milliseconds(index));
            expected += line + "\n";
        }
        writer.flush();
        EXPECT_EQ(testing::readFile(file), expected);
        writer.append("written by the destructor", berlinMidnight);
    }
    EXPECT_EQ(testing::readFile(file), expected + "written by the destructor\n");
}

// Whatever stands where the day's file should be, nothing is written through it or into
// it, and the user hears why once, not once per line.
TEST_F(LogFileWriterFiles, RefusesLinksAndOddFilesAndSaysWhyOnce) {
    const auto name = LogFileWriter::fileName(berlinMidnight, berlin());
    const auto victim = folder / "victim";
    std::ofstream(victim) << "not a log\n";
    struct Case {
        const char* rule;
        std::function<void(const fs::path& logs)> prepare;
        fs::path logs;
        std::string expectedReport;
    };
    const auto blocker = folder / "not-a-folder";
    std::ofstream(blocker) << "a plain file where the log folder should go\n";
    const Case cases[] = {
        {"a link to another file",
         [&](const fs::path& logs) { fs::create_symlink(victim, logs / name); }, folder / "a",
         "is a symbolic link"},
        {"a dangling link",
         [&](const fs::path& logs) { fs::create_symlink(folder / "nowhere", logs / name); },
         folder / "b", "is a symbolic link"},
        {"a named pipe",
         [&](const fs::path& logs) { ASSERT_EQ(::mkfifo((logs / name).c_str(), 0600), 0); },
         folder / "c", "Could not write the log file"},
        {"a file where the folder should be", nullptr, blocker / "logs",
         "Could not create the log folder"},
    };
    for (const auto& [rule, prepare, logs, expectedReport] : cases) {
        SCOPED_TRACE(rule);
        if (prepare) {
            fs::create_directories(logs);
            prepare(logs);
        }
        std::vector<std::string> reports;
        {
            LogFileWriter writer(logs, berlin(),
                                 [&](const std::string& text) { reports.push_back(text); });
            writer.append("lost", berlinMidnight);
            writer.append("lost too", berlinMidnight);
            writer.flush();
        }
        ASSERT_EQ(reports.size(), 1U);
        EXPECT_NE(reports.front().find(expectedReport), std::string::npos) << reports.front();
    }
    EXPECT_EQ(testing::readFile(victim), "not a log\n");
    EXPECT_FALSE(fs::exists(folder / "nowhere"));
    EXPECT_EQ(testing::readFile(blocker), "a plain file where the log folder should go\n");
}

TEST_F(LogFileWriterFiles, KeepsFoldersAndFilesToTheirOwner) {
    const auto logs = folder / "state" / "logs";
    const auto earlier = logs / LogFileWriter::fileName(berlinMidnight - 24h, berlin());
    fs::create_directories(logs);
    std::ofstream(earlier) << "left readable by an older build\n";
    fs::permissions(earlier, fs::perms(0644));
    {
        LogFileWriter writer(folder / "state" / "logs" / "new", berlin());
        writer.append("line", berlinMidnight);
        LogFileWriter older(logs, berlin());
        older.append("line", berlinMidnight - 24h);
    }
    const auto modeOf = [](const fs::path& path) {
        return fs::status(path).permissions() & fs::perms::all;
    };
    EXPECT_EQ(modeOf(logs / "new"), fs::perms::owner_all);
    EXPECT_EQ(modeOf(logs / "new" / LogFileWriter::fileName(berlinMidnight, berlin())),
              fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(modeOf(earlier), fs::perms::owner_read | fs::perms::owner_write);
}

// Day files older than the retention go when a day's first line is written; anything else in
// the folder, and anything a link points at, stays.
TEST_F(LogFileWriterFiles, RemovesDayFilesOlderThanTheRetention) {
    const auto keptElsewhere = folder / "2000-01-01.log";
    std::ofstream(keptElsewhere) << "not in the log folder\n";
    const auto logs = folder / "logs";
    fs::create_directories(logs);
    const auto dayFile = [&](TimePoint at) { return logs / LogFileWriter::fileName(at, berlin()); };
    const auto oldest = berlinMidnight - 24h * 31;
    const auto lastKept = berlinMidnight - 24h * 30;
    for (const auto& file :
         {dayFile(oldest), dayFile(lastKept), logs / "notes.txt", logs / "2025-13-01.log"}) {
        std::ofstream(file) << "old\n";
    }
    fs::create_symlink(keptElsewhere, logs / "1999-12-31.log");
    {
        LogFileWriter writer(logs, berlin(), {}, std::chrono::days{30});
        writer.append("today", berlinMidnight + 1h);
    }
    EXPECT_FALSE(fs::exists(dayFile(oldest)));
    for (const auto& file : {dayFile(lastKept), logs / "notes.txt", logs / "2025-13-01.log",
                             logs / "1999-12-31.log", keptElsewhere, dayFile(berlinMidnight)}) {
        EXPECT_TRUE(fs::exists(fs::symlink_status(file))) << file;
    }
}

TEST(LogFileWriterDirectory, FollowsTheXDGStateHome) {
    struct Case {
        const char* rule;
        const char* stateHome;
        const char* home;
        const char* directory;
    };
    const Case cases[] = {
        {"an absolute state home", "/srv/state", "/home/ana", "/srv/state/corvane/logs"},
        {"unset falls back to the home folder", nullptr, "/home/ana",
         "/home/ana/.local/state/corvane/logs"},
        {"empty counts as unset", "", "/home/ana", "/home/ana/.local/state/corvane/logs"},
        {"a relative state home is ignored", "state", "/home/ana",
         "/home/ana/.local/state/corvane/logs"},
    };
    for (const auto& [rule, stateHome, home, directory] : cases) {
        EXPECT_EQ(LogFileWriter::defaultDirectory(stateHome, home), fs::path(directory)) << rule;
    }
}

} // namespace
} // namespace corvane
