#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "cli/event_printer.hpp"
#include "cli/stop_signals.hpp"
#include "core/events/corvane_state.hpp"
#include "core/server/dhcp_server.hpp"

namespace corvane::cli {

// What else a run does: see each event after it is printed, and act just before the server
// is asked to stop. Both are optional.
struct ServeHooks {
    std::function<void(const ServerEvent&, TimePoint)> onEvent;
    std::function<void()> beforeStop;
};

// Follows a started server until it has stopped: the calling thread reads the event stream,
// prints every event and folds it into the run state, while a watcher thread stops the
// server when a stop signal arrives or `limit` has passed. Returns the run's final state.
CorvaneState serveUntilStopped(DHCPServer& server, const std::string& interfaceName,
                               StopSignals& signals, EventPrinter& printer,
                               std::optional<std::chrono::milliseconds> limit = std::nullopt,
                               const ServeHooks& hooks = {});

} // namespace corvane::cli
