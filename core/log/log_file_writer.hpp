#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <date/tz.h>

#include "core/leases/lease.hpp"
#include "core/log/local_time_zone.hpp"

namespace corvane {

// Appends log lines to one file per local calendar day, readable by its user alone, and
// removes day files older than the retention period. All disk work happens on the writer's
// own thread, in the order lines were handed in, so callers never wait for the disk. A line
// that cannot be written is lost; why is told once per file through `ProblemReport`.
class LogFileWriter {
public:
    // Called on the writer's thread with a finished sentence for the user.
    using ProblemReport = std::function<void(const std::string& text)>;

    static constexpr std::chrono::days defaultRetention{30};
    // How long a line may wait for others to be written with it.
    static constexpr std::chrono::milliseconds linger{50};

    // Starts the writer's thread; touches no file until the first line.
    explicit LogFileWriter(std::filesystem::path directory,
                           const date::time_zone* zone = localTimeZone(),
                           ProblemReport reportProblem = {},
                           std::chrono::days retention = defaultRetention);
    // Writes every line handed in so far, then stops the thread.
    ~LogFileWriter();
    LogFileWriter(const LogFileWriter&) = delete;
    LogFileWriter& operator=(const LogFileWriter&) = delete;

    // $XDG_STATE_HOME/corvane/logs, by default ~/.local/state/corvane/logs.
    static std::filesystem::path defaultDirectory();
    // The same rule with the environment given: an unset, empty or relative state home is
    // ignored, as the XDG base directory rules ask.
    static std::filesystem::path defaultDirectory(const char* stateHome, const char* home);
    // "%04d-%02d-%02d.log" of the local date, so lines roll over to a new file at midnight.
    static std::string fileName(TimePoint at, const date::time_zone* zone);

    const std::filesystem::path& directory() const { return directory_; }

    // Queues one line (a newline is added) for the file of `at`'s day and returns at once.
    void append(std::string line, TimePoint at);
    // Blocks until every line queued before it is written. Called from the writer's own
    // thread it returns at once instead of waiting on itself.
    void flush();

private:
    struct QueuedLine {
        std::string text;
        TimePoint at;
    };

    void post(std::function<void()> task);
    void runTasks();
    // Writes lines in their order, one open and one write per run of lines for the same day.
    void write(const std::vector<QueuedLine>& lines);
    void writeToDayFile(const std::string& name, const std::string& text, TimePoint at);
    void removeOldFiles(TimePoint at) const;
    void report(const std::filesystem::path& file, const std::string& text);

    const std::filesystem::path directory_;
    const date::time_zone* const zone_;
    const ProblemReport reportProblem_;
    const std::chrono::days retention_;
    // Used on the writer's thread only.
    std::string currentFileName_;
    std::filesystem::path lastReportedFile_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> tasks_;
    // Lines queued since the writer last woke; written before the tasks queued with them.
    std::vector<QueuedLine> lines_;
    bool stopping_ = false;
    std::thread worker_;
};

} // namespace corvane
