#include "core/log/log_file_writer.hpp"

#include <cstdio>
#include <cstdlib>
#include <future>
#include <system_error>

#include <fcntl.h>
#include <pthread.h>
#include <pwd.h>
#include <unistd.h>

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

} // namespace

LogFileWriter::LogFileWriter(std::filesystem::path directory, const date::time_zone* zone)
    : directory_(std::move(directory)), zone_(zone), worker_([this] { runTasks(); }) {}

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
    post([this, line = std::move(line), at] { write(line, at); });
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
        wake_.wait(lock, [this] { return stopping_ || !tasks_.empty(); });
        if (tasks_.empty()) {
            return;
        }
        auto task = std::move(tasks_.front());
        tasks_.pop_front();
        lock.unlock();
        task();
        lock.lock();
    }
}

void LogFileWriter::write(const std::string& line, TimePoint at) const {
    std::error_code ignored;
    std::filesystem::create_directories(directory_, ignored);
    const auto path = directory_ / fileName(at, zone_);
    // A fresh open per line: no handle outlives the line, so a file moved or deleted by the
    // user is simply started again.
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0) {
        return;
    }
    writeFully(fd, line + "\n");
    ::close(fd);
}

} // namespace corvane
