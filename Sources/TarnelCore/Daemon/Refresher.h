// TarnelCore/Daemon/Refresher.h: brings the published snapshot up to date, one refresh at a time.
#pragma once
#include "TarnelCore/Attention/AttentionEngine.h"
#include "TarnelCore/Base/Clock.h"
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Base/SerialQueue.h"
#include "TarnelCore/Daemon/Log.h"
#include "TarnelCore/Daemon/Publisher.h"
#include <functional>
#include <memory>

namespace tarnel {

/// Asks the engine for a snapshot and publishes it, when told and at most one at a time; however many ask for a later
/// refresh, at most one is scheduled.
/// Thread-safety: every operation may be called from any thread.
class Refresher {
public:
    /// Called with each new snapshot, before it is published, with when the multiplexer began to be asked, and after.
    struct Hooks {
        std::function<void(const MachineSnapshot&, Clock::Instant)> beforePublish = [](const MachineSnapshot&,
                                                                                        Clock::Instant) {};
        std::function<void(const MachineSnapshot&)> afterPublish = [](const MachineSnapshot&) {};
    };

    /// Everything outlives the refresher, the queue's factory excepted.
    Refresher(AttentionEngine& engine, Publisher& publisher, Clock& clock, const Log& log,
        const SerialQueueFactory& makeQueue, Hooks hooks);

    /// Runs a refresh now, on the calling thread, after one that is in progress; of several callers that wait for that,
    /// one does it for all, so that none waits for more than two. Returns the new snapshot, or the one before when the
    /// engine failed, which may be null.
    Publisher::Snapshot refresh() TARNEL_EXCLUDES(mutex);

    /// Asks for a refresh after `delay`, unless one is scheduled already, which will see the newer state.
    void schedule(std::chrono::nanoseconds delay) TARNEL_EXCLUDES(mutex);

    /// From when it returns, nothing is refreshed and no hook is called any more. Waits for a refresh in progress.
    void stop() TARNEL_EXCLUDES(mutex);

private:
    [[nodiscard]] bool begin() TARNEL_EXCLUDES(mutex);
    void end() TARNEL_EXCLUDES(mutex);

    AttentionEngine& engine;
    Publisher& publisher;
    Clock& clock;
    const Log& log;
    const Hooks hooks;

    Mutex mutex;
    Condition changed; // notified when a refresh has ended
    std::uint64_t begun TARNEL_GUARDED_BY(mutex) = 0; // refreshes so far
    std::uint64_t ended TARNEL_GUARDED_BY(mutex) = 0; // of these; one less while one is in progress
    bool isStopped TARNEL_GUARDED_BY(mutex) = false;
    bool isScheduled TARNEL_GUARDED_BY(mutex) = false;
    const std::unique_ptr<SerialQueue> queue; // last: its tasks use all the above
};

} // namespace tarnel
