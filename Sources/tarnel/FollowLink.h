// tarnel/FollowLink.h: a subscription to one daemon that outlives the daemon's restarts.
#pragma once
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Daemon/DaemonClient.h"
#include "tarnel/Backoff.h"
#include <exception>
#include <functional>
#include <memory>
#include <thread>

namespace tarnel {

/// Subscribes on a thread of its own and, when the connection is lost, again and again with growing pauses.
/// Thread-safety: one owner, who destroys it from another thread than its own.
/// Lifetime: the destructor ends the subscription and joins.
class FollowLink {
public:
    /// Who is told, on the link's thread. Functions of the subscriber may be empty.
    struct Listener {
        DaemonClient::Subscriber subscriber = {};
        /// A connection has ended or has not come about. Whether to try again.
        std::function<bool(std::exception_ptr)> onLost;
    };

    FollowLink(std::shared_ptr<LineChannelOpener> opener, Listener listener, Backoff backoff);
    ~FollowLink();
    FollowLink(const FollowLink&) = delete;
    FollowLink& operator=(const FollowLink&) = delete;

private:
    class Connections;

    void run() TARNEL_EXCLUDES(mutex);
    std::exception_ptr follow();
    bool pause(Backoff::Duration duration) TARNEL_EXCLUDES(mutex);

    const Listener listener;
    const std::shared_ptr<Connections> connections;
    Backoff backoff; // the thread's own

    Mutex mutex;
    Condition stopped; // notified when `isStopping` is set
    bool isStopping TARNEL_GUARDED_BY(mutex) = false;
    std::thread worker; // last: all it uses exists before it starts
};

} // namespace tarnel
