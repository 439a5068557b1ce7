#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/events/server_event.hpp"

namespace corvane {

// Keeps a flood quiet: the first DROP of each reason in a window is shown, the rest of that
// window are only counted, and one line reports how many were folded once the window is
// over. Every other event passes as it is. Not thread-safe: the server's own thread only.
class DropFolding {
public:
    static constexpr std::chrono::seconds window{10};
    // Reasons often name an address, so a flood can bring a new reason with every packet;
    // past this many at once they are folded together.
    static constexpr std::size_t maxReasons = 256;

    // Appends to `out` what to report for `event` at `at`: the summaries of windows that
    // have ended, then the event itself unless it is folded. A stop reports every pending
    // count before it.
    void pass(ServerEvent event, TimePoint at, std::vector<ServerEvent>& out);

private:
    struct Window {
        TimePoint opened;
        std::size_t folded = 0;
    };

    void closeWindows(TimePoint at, bool all, std::vector<ServerEvent>& out);
    bool fold(const std::string& reason, TimePoint at);

    std::unordered_map<std::string, Window> windows_;
    // The earliest instant at which some window ends; nothing to close before it.
    TimePoint nextClose_ = TimePoint::max();
};

} // namespace corvane
