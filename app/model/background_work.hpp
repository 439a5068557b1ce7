#pragma once

#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace corvane {

// Carries results from worker threads back to one QObject's thread, and drops them once
// that object is gone. The object cuts its lifeline in its destructor; a worker still busy
// then finishes in the background and its result goes nowhere.
class Lifeline {
public:
    explicit Lifeline(QObject* receiver) : receiver_(receiver) {}

    // Queues `task` to run on the receiver's thread, unless the receiver is gone.
    void post(std::function<void()> task);
    void cut();
    // Only meaningful on the receiver's own thread.
    QObject* receiver() const { return receiver_; }

private:
    std::mutex mutex_;
    QObject* receiver_;
};

// Runs blocking `work` on a thread of its own and hands its result to `done` on the
// receiver's thread. Worker threads are started from the caller's thread, so they share its
// network namespace. A `work` that throws gives `fallback`.
template <typename Result>
void runInBackground(const std::shared_ptr<Lifeline>& lifeline, Result fallback,
                     std::function<Result()> work, std::function<void(Result)> done) {
    std::thread([lifeline, fallback = std::move(fallback), work = std::move(work),
                 done = std::move(done)]() mutable {
        Result result = fallback;
        try {
            result = work();
        } catch (...) {
        }
        lifeline->post([done = std::move(done), result = std::move(result)]() mutable {
            done(std::move(result));
        });
    }).detach();
}

// The same, bounded: if `limit` passes before the work ends, `done` gets `fallback` and the
// late result is dropped. Called on the receiver's thread.
template <typename Result>
void runWithTimeLimit(const std::shared_ptr<Lifeline>& lifeline, std::chrono::milliseconds limit,
                      Result fallback, std::function<Result()> work,
                      std::function<void(Result)> done) {
    // Read and written only on the receiver's thread: by the timer and by the result.
    auto answered = std::make_shared<bool>(false);
    auto answer = [answered, done = std::move(done)](Result result) {
        if (!*answered) {
            *answered = true;
            done(std::move(result));
        }
    };
    QTimer::singleShot(limit, lifeline->receiver(),
                       [answer, fallback]() mutable { answer(fallback); });
    runInBackground<Result>(lifeline, fallback, std::move(work), answer);
}

} // namespace corvane
