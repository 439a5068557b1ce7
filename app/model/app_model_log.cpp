#include <algorithm>
#include <cctype>

#include "app/model/app_model.hpp"
#include "core/log/event_log.hpp"
#include "core/log/local_time_zone.hpp"

namespace corvane {

namespace {

char foldCase(char character) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
}

// What the filter field is for (MACs, addresses, message types) is ASCII, so the case is
// folded for ASCII letters only; other characters must match exactly.
bool containsIgnoringCase(std::string_view text, std::string_view folded) {
    return std::search(text.begin(), text.end(), folded.begin(), folded.end(),
                       [](char fromText, char fromFilter) {
                           return foldCase(fromText) == fromFilter;
                       }) != text.end();
}

} // namespace

void AppModel::appendLog(std::string text, LogLine::Kind kind) {
    ++nextLogID_;
    log_.push_back(LogLine{nextLogID_, std::move(text), kind});
    while (log_.size() > logCapacity) {
        log_.pop_front();
    }
    if (!pausedLog_) {
        Q_EMIT logChanged();
    }
}

void AppModel::appendLabeled(std::string_view label, std::string_view text, LogLine::Kind kind) {
    const auto at = now();
    auto line = EventLog::line(label, text, at, localTimeZone());
    logWriter_->append(line, at);
    appendLog(std::move(line), kind);
}

std::vector<LogLine> AppModel::visibleLog() const {
    std::vector<LogLine> shown;
    auto filtered = [&](const auto& lines) {
        if (logFilter_.isEmpty()) {
            shown.assign(lines.begin(), lines.end());
            return;
        }
        std::string folded = logFilter_.toStdString();
        std::transform(folded.begin(), folded.end(), folded.begin(), foldCase);
        std::copy_if(
            lines.begin(), lines.end(), std::back_inserter(shown),
            [&folded](const LogLine& line) { return containsIgnoringCase(line.text, folded); });
    };
    if (pausedLog_) {
        filtered(*pausedLog_);
    } else {
        filtered(log_);
    }
    return shown;
}

void AppModel::clearLog() {
    log_.clear();
    if (pausedLog_) {
        pausedLog_->clear();
    }
    Q_EMIT logChanged();
}

void AppModel::setLogFilter(const QString& filter) {
    if (filter != logFilter_) {
        logFilter_ = filter;
        Q_EMIT logFilterChanged();
        Q_EMIT logChanged();
    }
}

void AppModel::setLogPaused(bool paused) {
    if (paused == logPaused()) {
        return;
    }
    if (paused) {
        pausedLog_.emplace(log_.begin(), log_.end());
    } else {
        pausedLog_.reset();
    }
    Q_EMIT logPausedChanged();
    Q_EMIT logChanged();
}

} // namespace corvane
