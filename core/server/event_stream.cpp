#include "core/server/event_stream.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace corvane {

void EventStream::push(ServerEvent event) {
    std::vector<ServerEvent> one;
    one.push_back(std::move(event));
    pushAll(one);
}

void EventStream::pushAll(std::vector<ServerEvent>& events) {
    if (events.empty()) {
        return;
    }
    bool wasEmpty = false;
    {
        const std::lock_guard lock(mutex_);
        if (!finished_) {
            wasEmpty = queue_.empty();
            std::ranges::move(events, std::back_inserter(queue_));
        }
    }
    events.clear();
    if (wasEmpty) {
        arrived_.notify_one();
    }
}

std::optional<ServerEvent> EventStream::next() {
    std::unique_lock lock(mutex_);
    arrived_.wait(lock, [this] { return !queue_.empty() || finished_; });
    if (queue_.empty()) {
        return std::nullopt;
    }
    auto event = std::move(queue_.front());
    queue_.pop_front();
    return event;
}

std::optional<ServerEvent> EventStream::next(std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    arrived_.wait_for(lock, timeout, [this] { return !queue_.empty() || finished_; });
    if (queue_.empty()) {
        return std::nullopt;
    }
    auto event = std::move(queue_.front());
    queue_.pop_front();
    return event;
}

void EventStream::finish() {
    {
        const std::lock_guard lock(mutex_);
        finished_ = true;
    }
    arrived_.notify_all();
}

bool EventStream::isExhausted() const {
    const std::lock_guard lock(mutex_);
    return finished_ && queue_.empty();
}

} // namespace corvane
