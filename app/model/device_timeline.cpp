#include "app/model/device_timeline.hpp"

#include <array>
#include <string_view>

#include "app/model/app_texts.hpp"
#include "core/log/event_log.hpp"

namespace corvane {
namespace {

// "{HH:MM:SS.mmm}  ": the label starts after the time stamp and two spaces.
constexpr std::size_t labelStart = 14;
constexpr std::size_t textStart = labelStart + EventLog::labelWidth + 1;

std::string_view labelOf(const LogLine& line) {
    if (line.text.size() <= textStart) {
        return {};
    }
    auto label = std::string_view(line.text).substr(labelStart, EventLog::labelWidth);
    return label.substr(0, label.find_last_not_of(' ') + 1);
}

std::string_view textOf(const LogLine& line) {
    return line.text.size() <= textStart ? std::string_view()
                                         : std::string_view(line.text).substr(textStart);
}

bool startsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

bool isExchange(std::string_view label) {
    constexpr std::array<std::string_view, 4> shown{"RX ", "TX ", "DROP", "LEASE"};
    for (const auto prefix : shown) {
        if (startsWith(label, prefix)) {
            return true;
        }
    }
    return false;
}

// A DROP line ends with the device's address; the reason is what comes before it.
std::string reasonIn(std::string_view text, const std::string& mac) {
    if (const auto at = text.rfind(" " + mac); at != std::string_view::npos) {
        text = text.substr(0, at);
    }
    return std::string(text);
}

} // namespace

DeviceTimeline deviceTimeline(const std::deque<AttributedLine>& run, const MACAddress& device) {
    const auto mac = device.description();
    DeviceTimeline timeline;
    std::optional<std::string> reason;
    bool waiting = false;
    for (const auto& [subject, line] : run) {
        const auto label = labelOf(line);
        // An INFO line is not part of the exchange, but it may say why there was no reply.
        if (label == "INFO" && textOf(line).find(mac) != std::string_view::npos) {
            if (waiting && !reason) {
                reason = std::string(textOf(line));
            }
            continue;
        }
        if (subject != device || !isExchange(label)) {
            continue;
        }
        timeline.lines.push_back(line);
        if (label == "RX DISCOVER" || label == "RX REQUEST" || startsWith(label, "TX ")) {
            waiting = startsWith(label, "RX ");
            reason.reset();
        } else if (label == "DROP" && waiting && !reason) {
            reason = reasonIn(textOf(line), mac);
        }
    }
    if (waiting && reason) {
        timeline.notAnswered = app_texts::notAnswered(*reason);
    }
    return timeline;
}

} // namespace corvane
