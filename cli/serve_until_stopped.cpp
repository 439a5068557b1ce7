#include "cli/serve_until_stopped.hpp"

#include <thread>

namespace corvane::cli {

CorvaneState serveUntilStopped(DHCPServer& server, const std::string& interfaceName,
                               StopSignals& signals, EventPrinter& printer,
                               std::optional<std::chrono::milliseconds> limit,
                               const ServeHooks& hooks) {
    CorvaneState state;
    state.runStarted(interfaceName);
    std::thread watcher([&server, &signals, &hooks, limit] {
        if (signals.wait(limit) != StopSignals::Outcome::cancelled) {
            if (hooks.beforeStop) {
                hooks.beforeStop();
            }
            server.stop();
        }
    });
    // The stream ends only after `stopped`, so every event of the run is printed.
    while (true) {
        auto event = server.events().next(std::chrono::milliseconds(0));
        if (!event) {
            printer.flush();
            event = server.events().next();
        }
        if (!event) {
            break;
        }
        const auto now = std::chrono::system_clock::now();
        state.apply(*event, now);
        printer.print(*event, now);
        if (hooks.onEvent) {
            hooks.onEvent(*event, now);
        }
    }
    printer.flush();
    signals.cancel();
    watcher.join();
    return state;
}

} // namespace corvane::cli
