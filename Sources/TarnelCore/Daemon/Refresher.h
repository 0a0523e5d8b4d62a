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

    /// Runs a refresh now, on the calling thread, after one that is in progress. Returns the new snapshot, or the one
    /// before when the engine failed, which may be null.
    Publisher::Snapshot refresh() TARNEL_EXCLUDES(mutex, refreshMutex);

    /// Asks for a refresh after `delay`, unless one is scheduled already, which will see the newer state.
    void schedule(std::chrono::nanoseconds delay) TARNEL_EXCLUDES(mutex);

    /// From when it returns, nothing is refreshed and no hook is called any more. Waits for a refresh in progress.
    void stop() TARNEL_EXCLUDES(refreshMutex);

private:
    AttentionEngine& engine;
    Publisher& publisher;
    Clock& clock;
    const Log& log;
    const Hooks hooks;

    Mutex refreshMutex; // held for the whole of a refresh; never taken while `mutex` is held
    bool isStopped TARNEL_GUARDED_BY(refreshMutex) = false;
    Mutex mutex;
    bool isScheduled TARNEL_GUARDED_BY(mutex) = false;
    const std::unique_ptr<SerialQueue> queue; // last: its tasks use all the above
};

} // namespace tarnel
