#include "cli/serve_until_stopped.hpp"

#include <thread>

namespace corvane::cli {
namespace {

constexpr std::chrono::milliseconds flushInterval{100};

} // namespace

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
    // The stream ends only after `stopped`, so every event of the run is printed. Output is
    // flushed when the stream goes quiet, but also right after the start (scripts wait for
    // that line, and a large table's leases follow it at once) and at least every
    // `flushInterval` under a steady flood, so a reader is never far behind.
    auto lastFlush = std::chrono::steady_clock::now();
    while (true) {
        auto event = server.events().next(std::chrono::milliseconds(0));
        if (!event) {
            printer.flush();
            lastFlush = std::chrono::steady_clock::now();
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
        const auto sinceFlush = std::chrono::steady_clock::now() - lastFlush;
        if (event->as<ServerEvent::Started>() != nullptr || sinceFlush >= flushInterval) {
            printer.flush();
            lastFlush = std::chrono::steady_clock::now();
        }
    }
    printer.flush();
    signals.cancel();
    watcher.join();
    return state;
}

} // namespace corvane::cli
