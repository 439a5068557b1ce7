#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>

#include <nlohmann/json.hpp>

namespace corvane {

// One connection to a running server's control socket: send requests, read reply and event
// lines. Blocking, for the command-line tools.
class ControlClient {
public:
    struct Line {
        std::string text;
    };
    struct Closed {};
    struct TimedOut {};
    using Reading = std::variant<Line, Closed, TimedOut>;

    // Throws ControlError with a sentence when nothing answers at `socket`.
    explicit ControlClient(const std::filesystem::path& socket);
    ~ControlClient();
    ControlClient(const ControlClient&) = delete;
    ControlClient& operator=(const ControlClient&) = delete;

    // Throws ControlError when the server has gone.
    void send(const nlohmann::json& request);
    // The next line; waits at most `timeout` when one is given.
    Reading readLine(std::optional<std::chrono::milliseconds> timeout = std::nullopt);
    // Sends one request and returns its reply, skipping event lines; throws ControlError
    // when the server closes first.
    nlohmann::json ask(const nlohmann::json& request);

private:
    int descriptor_ = -1;
    std::string buffered_;
};

} // namespace corvane
