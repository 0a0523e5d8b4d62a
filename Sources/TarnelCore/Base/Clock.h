// TarnelCore/Base/Clock.h: the time of day, elapsed time and sleeping, replaceable as one.
#pragma once
#include "TarnelCore/Base/Timestamp.h"
#include <chrono>

namespace tarnel {

/// Where time comes from. Whoever waits or takes the time is handed one, so that a test can run in simulated time.
/// Thread-safety: every operation may be called from any thread.
class Clock {
public:
    using Instant = std::chrono::steady_clock::time_point;

    virtual ~Clock() = default;

    /// The time of day; it may jump when the machine's clock is set.
    [[nodiscard]] virtual Timestamp now() const = 0;

    /// Elapsed time, which never jumps: for deadlines and durations.
    [[nodiscard]] virtual Instant elapsed() const = 0;

    /// Blocks the calling thread.
    virtual void sleep(std::chrono::nanoseconds duration) = 0;

    /// The machine's own clock; lives as long as the process.
    static Clock& system();
};

} // namespace tarnel
