#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "core/address/mac_address.hpp"
#include "core/control/control_requests.hpp"
#include "core/events/server_event.hpp"

namespace corvane {

// Lets other commands drive a running server: a Unix socket that speaks JSON lines, one
// request per line and one reply per request, plus the server's events for subscribers.
// It runs on its own thread with non-blocking sockets, so a slow or silent client costs the
// server nothing: a client whose unread replies pass `maxUnreadBytes` is dropped.
class ControlServer {
public:
    // Longest request line; a longer one is answered with an error and the client dropped.
    static constexpr std::size_t maxRequestBytes = 64 * 1024;
    static constexpr std::size_t maxUnreadBytes = 1024 * 1024;

    // Listens at `socketPath` with mode 0600, replacing a stale socket of that name. Throws
    // ControlError when the socket cannot be made.
    ControlServer(std::filesystem::path socketPath, ControlHandler handler);
    // Stops the thread, closes every client and removes the socket.
    ~ControlServer();
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

    const std::filesystem::path& socketPath() const { return socketPath_; }

    // Hands one event to the subscribers; never waits on a client. Any thread.
    void publish(const ServerEvent& event, TimePoint at);
    // From now on requests get a "stopping" error instead of reaching the handler; when this
    // returns, no handler call is under way. Events still flow.
    void refuseRequests();

private:
    struct Client;
    struct Published {
        std::string line;
        std::optional<MACAddress> subject;
    };

    void run();
    void accept();
    bool readFrom(Client& client);
    void answerLines(Client& client);
    ControlAnswer answer(std::string_view line);
    void countSubscribers();
    void fanOut();
    void queueFor(Client& client, std::string_view line);
    bool writeTo(Client& client);
    void wake() const;

    std::filesystem::path socketPath_;
    ControlHandler handler_;
    int listener_ = -1;
    int wakeup_ = -1;

    std::mutex requestsMutex_;
    bool refusing_ = false;

    // Clients with a subscription, kept by the control thread: with none, publishing skips
    // the event's JSON, which under a flood would cost more than serving it.
    std::atomic<std::size_t> subscribers_ = 0;

    std::mutex publishedMutex_;
    std::deque<Published> published_;
    bool ending_ = false;

    std::deque<Client> clients_;
    std::thread thread_;
};

} // namespace corvane
