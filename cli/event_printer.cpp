#include "cli/event_printer.hpp"

#include "core/log/event_log.hpp"

namespace corvane::cli {

EventPrinter::EventPrinter(std::ostream& output, Format format, LogFileWriter& logFile,
                           const date::time_zone* zone)
    : output_(output), format_(format), logFile_(logFile), zone_(zone) {}

void EventPrinter::print(const ServerEvent& event, TimePoint at) {
    const auto line = EventLog::line(event, at, zone_);
    if (!line) {
        return;
    }
    logFile_.append(*line, at);
    if (format_ == Format::json) {
        if (const auto object = EventLog::json(event, at)) {
            output_ << *object << '\n';
        }
        return;
    }
    output_ << *line << '\n';
}

} // namespace corvane::cli
