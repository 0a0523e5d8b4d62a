// tarnel/Backoff.h: how long to wait before the next attempt.
#pragma once
#include <algorithm>
#include <chrono>

namespace tarnel {

/// Pauses that double from `first` up to `most`, and start again once something has worked. A plain value.
class Backoff {
public:
    using Duration = std::chrono::milliseconds;

    explicit Backoff(Duration mostPause, Duration firstPause = std::chrono::milliseconds(500))
        : most(mostPause)
        , first(std::min(firstPause, mostPause))
        , upcoming(first)
    {
    }

    /// The pause to make now.
    Duration next()
    {
        const Duration pause = upcoming;
        upcoming = std::min(most, upcoming * 2);
        return pause;
    }
    void reset() { upcoming = first; }

private:
    Duration most;
    Duration first;
    Duration upcoming;
};

} // namespace tarnel
