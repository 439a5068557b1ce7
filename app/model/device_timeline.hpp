#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "app/model/log_line.hpp"
#include "core/address/mac_address.hpp"

namespace corvane {

// A log line of this run with the device its event was about, if any: a reply's TX line
// does not name the device, so the text alone cannot tell.
struct AttributedLine {
    std::optional<MACAddress> device;
    LogLine line;
};

// One device's exchanges in this run: every RX, TX, DROP and LEASE line about it, oldest
// first, and why its last request went unanswered.
struct DeviceTimeline {
    std::vector<LogLine> lines;
    // "Not answered: {reason}" when the device's last DISCOVER or REQUEST got no reply and
    // the log said why (a DROP about it, or an INFO line naming it); absent otherwise.
    std::optional<std::string> notAnswered;

    friend bool operator==(const DeviceTimeline&, const DeviceTimeline&) = default;
};

DeviceTimeline deviceTimeline(const std::deque<AttributedLine>& run, const MACAddress& device);

} // namespace corvane
