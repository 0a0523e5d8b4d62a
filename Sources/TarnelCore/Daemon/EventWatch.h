// TarnelCore/Daemon/EventWatch.h: follows the multiplexer's events.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Daemon/Log.h"
#include "TarnelCore/Muxle/MuxleClient.h"
#include <chrono>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>

namespace tarnel {

/// Keeps one subscription to the multiplexer's events open, aimed at the panes that run agents: opens it again when it
/// ends, with growing pauses while that fails, and at once when the panes have changed.
/// Thread-safety: every operation may be called from any thread.
/// Lifetime: `stop` before anything goes that the world's functions use.
class EventWatch {
public:
    using PaneSet = std::set<std::string>;

    /// What the watch needs from the world around it.
    struct World {
        /// The panes to watch, asked before every subscription.
        std::function<PaneSet()> agentPanes;
        /// Asks for a refresh after a delay: when a subscription opens, and on every event.
        std::function<void(std::chrono::nanoseconds)> scheduleRefresh;
        /// Waits; returns early when the watch stops. For tests.
        std::function<void(std::chrono::nanoseconds)> pause = {};
    };

    /// `log` outlives the watch.
    EventWatch(MuxleClient muxle, const Log& log, World world);
    ~EventWatch();
    EventWatch(const EventWatch&) = delete;
    EventWatch& operator=(const EventWatch&) = delete;

    /// Starts following, on a thread of its own. Called once.
    void start();

    /// Ends the subscription and joins the thread. Any number of times, never from the watch's own thread.
    void stop() TARNEL_EXCLUDES(mutex);

    /// Tells which panes run agents now: an open subscription that watches others is closed, and opened anew at once.
    void agentPanesAre(const PaneSet& panes) TARNEL_EXCLUDES(mutex);

    /// The pane ids of the snapshot's agents, plain shells left out.
    static PaneSet agentPanes(const MachineSnapshot& snapshot);

    /// The events to subscribe to: a fixed list of types, then the status changes of each pane, in ascending order.
    static JSON::Array subscriptions(const PaneSet& panes);

private:
    void follow() TARNEL_EXCLUDES(mutex);
    void subscribeOnce(std::chrono::milliseconds& delay) TARNEL_EXCLUDES(mutex);
    bool isAimedElsewhere() TARNEL_EXCLUDES(mutex);
    bool hasStopped() TARNEL_EXCLUDES(mutex);
    void pause(std::chrono::nanoseconds duration) TARNEL_EXCLUDES(mutex);

    const MuxleClient muxle;
    const Log& log;
    const World world;
    Mutex mutex;
    Condition stopped; // notified when `isStopping` is set
    bool isStopping TARNEL_GUARDED_BY(mutex) = false;
    std::shared_ptr<LineChannel> open TARNEL_GUARDED_BY(mutex); // null while no subscription is open
    PaneSet watched TARNEL_GUARDED_BY(mutex);                   // by the open subscription
    std::thread thread;
};

} // namespace tarnel
