#pragma once

#include <ostream>

#include <date/tz.h>

#include "core/events/server_event.hpp"
#include "core/log/log_file_writer.hpp"

namespace corvane::cli {

// Shows each server event as it happens: one log line (or one JSON object) on the output,
// flushed at once so that a pipe reader sees it live, and the same line appended to the
// day's log file, which always holds the text form.
class EventPrinter {
public:
    enum class Format { text, json };

    EventPrinter(std::ostream& output, Format format, LogFileWriter& logFile,
                 const date::time_zone* zone);

    void print(const ServerEvent& event, TimePoint at);

private:
    std::ostream& output_;
    Format format_;
    LogFileWriter& logFile_;
    const date::time_zone* zone_;
};

} // namespace corvane::cli
