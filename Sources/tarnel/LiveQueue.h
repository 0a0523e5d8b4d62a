// tarnel/LiveQueue.h: the daemon's snapshots as they come, kept up in the background.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "TarnelCore/Base/FileDescriptor.h"
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Commands/Command.h"
#include "TarnelCore/Daemon/DaemonLink.h"
#include "TarnelCore/UnixSocket/LineChannel.h"
#include <exception>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace tarnel {

/// Holds a subscription on a thread of its own and keeps the newest snapshot.
/// Thread-safety: one owner, who takes and destroys.
/// Lifetime: the destructor ends the subscription and joins.
class LiveQueue {
public:
    /// What to do when a daemon that was there goes away. One that was never there ends the queue in either case.
    enum class OnLoss { end, reconnect };

    struct View {
        std::shared_ptr<const MachineSnapshot> snapshot; ///< The newest; null before the first.
        bool isConnected = false;
        bool wasConnected = false; ///< It is connected, or has been.
        std::shared_ptr<DaemonLink> link; ///< To send commands over; null while it is not connected.
        std::vector<CommandReply>
            replies; ///< Those that came since the last view was taken, none older than `snapshot`.
        std::exception_ptr failure; ///< Why it is not connected; null while it is, or has not yet failed.
        bool hasEnded = false; ///< Nothing more will come.
    };

    LiveQueue(const std::string& socketPath, OnLoss onLoss);
    ~LiveQueue();
    LiveQueue(const LiveQueue&) = delete;
    LiveQueue& operator=(const LiveQueue&) = delete;

    /// Readable when there is a view that was not yet taken.
    [[nodiscard]] int descriptor() const { return receiver.get(); }

    /// The state as it is now. Never blocks.
    View take() TARNEL_EXCLUDES(mutex);

private:
    class Connections;

    void run() TARNEL_EXCLUDES(mutex);
    void subscribe();
    bool mayTryAgain(std::exception_ptr failure) TARNEL_EXCLUDES(mutex);
    template <class Change> void update(Change change) TARNEL_EXCLUDES(mutex);

    const OnLoss onLoss;
    FileDescriptor receiver; // a pipe that holds one byte while the view is news
    FileDescriptor sender;
    const std::shared_ptr<Connections> connections;

    Mutex mutex;
    Condition stopped; // notified when `isStopping` is set
    View view TARNEL_GUARDED_BY(mutex);
    bool isNews TARNEL_GUARDED_BY(mutex) = false;
    bool isStopping TARNEL_GUARDED_BY(mutex) = false;
    std::thread worker; // last: all it uses exists before it starts
};

} // namespace tarnel
