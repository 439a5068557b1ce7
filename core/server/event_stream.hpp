#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

#include "core/events/server_event.hpp"

namespace corvane {

// The one hand-over point between the server's thread and the thread that reads its events:
// an unbounded first-in first-out queue that the server never waits on. Once finished it
// takes no more events; the reader still gets everything queued before the end.
class EventStream {
public:
    // Queues one event; ignored after `finish`, because nothing may follow the end.
    void push(ServerEvent event);
    // Queues all of `events` in order with one hand-over, and empties it.
    void pushAll(std::vector<ServerEvent>& events);
    // The next event, waiting as long as it takes; none once finished and drained.
    std::optional<ServerEvent> next();
    // The next event, or none when nothing came within `timeout` or the stream has ended.
    std::optional<ServerEvent> next(std::chrono::milliseconds timeout);
    // Ends the stream and wakes every waiting reader. Calling it again changes nothing.
    void finish();
    // Finished and drained: `next` will never give an event again.
    bool isExhausted() const;

private:
    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<ServerEvent> queue_;
    bool finished_ = false;
};

} // namespace corvane
