#pragma once

#include <ostream>

#include <date/tz.h>

#include "core/events/server_event.hpp"
#include "core/log/log_file_writer.hpp"

namespace corvane::cli {

// Shows each server event as it happens: one log line (or one JSON object) on the output,
// and the same line appended to the day's log file, which always holds the text form. The
// output is flushed by the caller whenever the stream goes quiet (after each batch the
// server handled), so a pipe reader sees events promptly without a write per line.
class EventPrinter {
public:
    enum class Format { text, json };

    EventPrinter(std::ostream& output, Format format, LogFileWriter& logFile,
                 const date::time_zone* zone);

    void print(const ServerEvent& event, TimePoint at);
    void flush() { output_.flush(); }

private:
    std::ostream& output_;
    Format format_;
    LogFileWriter& logFile_;
    const date::time_zone* zone_;
};

} // namespace corvane::cli
