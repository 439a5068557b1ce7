#pragma once

#include <atomic>
#include <chrono>
#include <functional>

#include "core/leases/lease.hpp"

namespace corvane::testing {

// 2025-03-01T12:00:00Z: whole seconds, so tables survive the lease file unchanged.
inline constexpr TimePoint testStart{std::chrono::seconds{1'740'830'400}};

// The time the code under test reads, starting at `testStart` and moved only by the test. A
// server reads it on its own thread, hence the atomic.
class ManualClock {
public:
    TimePoint now() const { return TimePoint(TimePoint::duration(ticks_.load())); }
    void advance(std::chrono::seconds step) {
        ticks_ += std::chrono::duration_cast<TimePoint::duration>(step).count();
    }
    // The clock as a server takes it; the ManualClock must outlive the server.
    std::function<TimePoint()> function() {
        return [this] { return now(); };
    }

private:
    std::atomic<TimePoint::rep> ticks_{testStart.time_since_epoch().count()};
};

} // namespace corvane::testing
