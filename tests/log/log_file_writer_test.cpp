#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <date/date.h>
#include <gtest/gtest.h>

#include "core/log/event_log.hpp"
#include "core/log/log_file_writer.hpp"

namespace corvane {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

// Each test gets a folder of its own under the system's temporary folder, removed with
// everything in it.
class LogFileWriterFiles : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "corvane-log-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder = pattern;
    }
    void TearDown() override { fs::remove_all(folder); }

    fs::path folder;
};

std::string contents(const fs::path& file) {
    std::ifstream stream(file);
    std::stringstream text;
    text << stream.rdbuf();
    return text.str();
}

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
    EXPECT_EQ(contents(directory / "2025-02-28.log"),
              "23:59:59.999  INFO         last of the day\n");
    EXPECT_EQ(contents(directory / "2025-03-01.log"),
              "00:00:00.000  INFO         first of the day\n");
}

TEST_F(LogFileWriterFiles, KeepsSubmissionOrderAndAppendsToExistingFiles) {
    const auto file = folder / LogFileWriter::fileName(berlinMidnight, berlin());
    std::ofstream(file) << "from an earlier run\n";

    std::string expected = "from an earlier run\n";
    {
        LogFileWriter writer(folder, berlin());
        for (int index = 0; index < 300; ++index) {
            const auto line = "line " + std::to_string(index);
            writer.append(line, berlinMidnight + std::chrono::milliseconds(index));
            expected += line + "\n";
        }
        writer.flush();
        EXPECT_EQ(contents(file), expected);
        writer.append("written by the destructor", berlinMidnight);
    }
    EXPECT_EQ(contents(file), expected + "written by the destructor\n");
}

TEST_F(LogFileWriterFiles, LosesLinesSilentlyWhenTheFolderCannotBeMade) {
    const auto blocker = folder / "not-a-folder";
    std::ofstream(blocker) << "a plain file where the log folder should go\n";

    LogFileWriter writer(blocker / "logs", berlin());
    writer.append("lost", berlinMidnight);
    writer.flush();
    writer.append("lost too", berlinMidnight);
    writer.flush();
    EXPECT_FALSE(fs::exists(blocker / "logs"));
    EXPECT_EQ(contents(blocker), "a plain file where the log folder should go\n");
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
