#include "core/log/log_file_writer.hpp"

#include <cstdio>
#include <cstdlib>
#include <future>
#include <optional>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <pthread.h>
#include <pwd.h>
#include <unistd.h>

#include "core/files/private_files.hpp"
#include "core/log/log_texts.hpp"
#include "core/log/zoned_clock.hpp"

namespace corvane {
namespace {

// Writes all of `data`, giving up quietly on the first error.
void writeFully(int fd, const std::string& data) {
    std::size_t written = 0;
    while (written < data.size()) {
        const ssize_t count = ::write(fd, data.data() + written, data.size() - written);
        if (count <= 0) {
            return;
        }
        written += static_cast<std::size_t>(count);
    }
}

std::filesystem::path homeDirectory(const char* home) {
    if (home != nullptr && *home != '\0') {
        return home;
    }
    if (const passwd* user = getpwuid(getuid()); user != nullptr && user->pw_dir != nullptr) {
        return user->pw_dir;
    }
    return {};
}

// The day a daily log file is named after; no value for any other name, so files the user
// keeps beside the logs are never touched.
std::optional<date::sys_days> dayOfFileName(const std::string& name) {
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    char end = 0;
    if (name.size() != 14 ||
        std::sscanf(name.c_str(), "%4d-%2u-%2u.lo%c", &year, &month, &day, &end) != 4 ||
        end != 'g') {
        return std::nullopt;
    }
    const date::year_month_day date{date::year{year}, date::month{month}, date::day{day}};
    if (!date.ok()) {
        return std::nullopt;
    }
    return date::sys_days(date);
}

} // namespace

LogFileWriter::LogFileWriter(std::filesystem::path directory, const date::time_zone* zone,
                             ProblemReport reportProblem, std::chrono::days retention)
    : directory_(std::move(directory)), zone_(zone), reportProblem_(std::move(reportProblem)),
      retention_(retention), worker_([this] { runTasks(); }) {}

LogFileWriter::~LogFileWriter() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_one();
    worker_.join();
}

std::filesystem::path LogFileWriter::defaultDirectory() {
    return defaultDirectory(std::getenv("XDG_STATE_HOME"), std::getenv("HOME"));
}

std::filesystem::path LogFileWriter::defaultDirectory(const char* stateHome, const char* home) {
    std::filesystem::path base;
    if (stateHome != nullptr && std::filesystem::path(stateHome).is_absolute()) {
        base = stateHome;
    } else {
        base = homeDirectory(home) / ".local" / "state";
    }
    return base / "corvane" / "logs";
}

std::string LogFileWriter::fileName(TimePoint at, const date::time_zone* zone) {
    const auto clock = ZonedClock::of(at, zone);
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02u.log", clock.year, clock.month, clock.day);
    return buffer;
}

void LogFileWriter::append(std::string line, TimePoint at) {
    bool wasIdle = false;
    {
        const std::lock_guard lock(mutex_);
        wasIdle = lines_.empty() && tasks_.empty();
        lines_.push_back({std::move(line), at});
    }
    // The writer sleeps only with nothing queued, so only the first line needs a wake-up.
    if (wasIdle) {
        wake_.notify_one();
    }
}

void LogFileWriter::flush() {
    if (std::this_thread::get_id() == worker_.get_id()) {
        return;
    }
    std::promise<void> done;
    auto finished = done.get_future();
    post([&done] { done.set_value(); });
    finished.wait();
}

void LogFileWriter::post(std::function<void()> task) {
    {
        const std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    wake_.notify_one();
}

void LogFileWriter::runTasks() {
    pthread_setname_np(pthread_self(), "corvane.logfile");
    std::unique_lock lock(mutex_);
    while (true) {
        wake_.wait(lock, [this] { return stopping_ || !tasks_.empty() || !lines_.empty(); });
        if (tasks_.empty() && lines_.empty()) {
            return;
        }
        // Lines come in bursts: waiting a moment for the rest of one turns a line per open
        // and write into hundreds. A flush or the end does not wait.
        wake_.wait_for(lock, linger, [this] { return stopping_ || !tasks_.empty(); });
        // Everything queued meanwhile at once: under a flood of events that is one open and
        // write for many lines instead of one for each. A task (a flush) queued after a line
        // runs after it, since lines go first.
        auto lines = std::exchange(lines_, {});
        auto tasks = std::exchange(tasks_, {});
        lock.unlock();
        write(lines);
        for (auto& task : tasks) {
            task();
        }
        lock.lock();
    }
}

void LogFileWriter::write(const std::vector<QueuedLine>& lines) {
    std::string text;
    std::string name;
    for (std::size_t index = 0; index < lines.size(); ++index) {
        const auto& line = lines[index];
        const auto lineName = fileName(line.at, zone_);
        if (lineName != name && !text.empty()) {
            writeToDayFile(name, text, lines[index - 1].at);
            text.clear();
        }
        name = lineName;
        text += line.text;
        text += '\n';
    }
    if (!text.empty()) {
        writeToDayFile(name, text, lines.back().at);
    }
}

void LogFileWriter::writeToDayFile(const std::string& name, const std::string& text, TimePoint at) {
    if (const auto error = private_files::createFolders(directory_)) {
        report(directory_, log_texts::folderNotCreated(directory_, error.message()));
        return;
    }
    if (name != currentFileName_) {
        currentFileName_ = name;
        removeOldFiles(at);
    }
    const auto path = directory_ / name;
    // A fresh open per batch: no handle outlives it, so a file moved or deleted by the user
    // is simply started again.
    std::error_code error;
    const int fd = private_files::openForAppend(path, error);
    if (fd < 0) {
        report(path, error == std::errc::too_many_symbolic_link_levels
                         ? log_texts::fileIsLink(path)
                         : log_texts::fileNotWritten(path, error.message()));
        return;
    }
    lastReportedFile_.clear();
    writeFully(fd, text);
    ::close(fd);
}

// Runs when the day changes (and at the first line), so a long run keeps tidying up.
void LogFileWriter::removeOldFiles(TimePoint at) const {
    const auto today = ZonedClock::of(at, zone_);
    const date::sys_days cutoff =
        date::sys_days(date::year{today.year} / date::month{today.month} / date::day{today.day}) -
        retention_;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(directory_, error)) {
        const auto day = dayOfFileName(entry.path().filename().string());
        if (day && *day < cutoff && entry.is_regular_file(error) && !entry.is_symlink(error)) {
            std::filesystem::remove(entry.path(), error);
        }
    }
}

// Once per file and kind of trouble, not once per line.
void LogFileWriter::report(const std::filesystem::path& file, const std::string& text) {
    if (!reportProblem_ || file == lastReportedFile_) {
        return;
    }
    lastReportedFile_ = file;
    reportProblem_(text);
}

} // namespace corvane
