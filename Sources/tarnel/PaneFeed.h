// tarnel/PaneFeed.h: what a pane shows, streamed in the background.
#pragma once
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Daemon/DaemonClient.h"
#include "tarnel/Terminal.h"
#include "tarnel/Wakeup.h"
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace tarnel {

/// Observes a pane on a thread of its own and keeps the frames until they are taken.
/// Thread-safety: one owner, who observes, takes and destroys. The client outlives it.
/// Lifetime: the destructor ends the stream and joins.
class PaneFeed {
public:
    struct News {
        std::vector<TerminalFrame> frames; ///< In order, all of the latest observation.
        bool hasEnded = false; ///< Nothing more will come: the pane has closed, or the stream has failed.
        std::exception_ptr failure; ///< Why it ended; null when the pane has closed.
    };

    /// Observes at the given size.
    PaneFeed(DaemonClient& daemon, std::string pane, const ScreenSize& size);
    ~PaneFeed();
    PaneFeed(const PaneFeed&) = delete;
    PaneFeed& operator=(const PaneFeed&) = delete;

    /// Ends the observation and begins another; frames of the old one that were not taken are dropped.
    void observe(const ScreenSize& wanted) TARNEL_EXCLUDES(mutex);

    /// Readable while there is anything to take.
    [[nodiscard]] int descriptor() const { return told.descriptor(); }

    /// Never blocks.
    News take() TARNEL_EXCLUDES(mutex);

private:
    using Count = std::uint64_t;

    void run() TARNEL_EXCLUDES(mutex);
    void stream(Count observation, const ScreenSize& observed) TARNEL_EXCLUDES(mutex);
    void ended(Count observation, std::exception_ptr failure) TARNEL_EXCLUDES(mutex);

    DaemonClient& client;
    const std::string pane;
    Wakeup told; // up while there is anything to take; raised and lowered with the mutex held

    Mutex mutex;
    Condition changed; // notified after `wanted`, `isStopping` or `pendingBytes` changes
    ScreenSize size TARNEL_GUARDED_BY(mutex);
    Count wanted TARNEL_GUARDED_BY(mutex) = 1; // the observation that the owner wants
    Count reached TARNEL_GUARDED_BY(mutex) = 0; // the one that was begun last
    std::shared_ptr<TerminalStream> open TARNEL_GUARDED_BY(mutex);
    News news TARNEL_GUARDED_BY(mutex);
    std::size_t pendingBytes TARNEL_GUARDED_BY(mutex) = 0;
    bool isStopping TARNEL_GUARDED_BY(mutex) = false;
    std::thread worker; // last: all it uses exists before it starts
};

} // namespace tarnel
