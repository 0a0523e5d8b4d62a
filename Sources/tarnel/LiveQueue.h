// tarnel/LiveQueue.h: the daemons' snapshots as they come, kept up in the background.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Commands/Command.h"
#include "TarnelCore/Daemon/DaemonLink.h"
#include "tarnel/DaemonAccess.h"
#include "tarnel/FollowLink.h"
#include "tarnel/Wakeup.h"
#include <exception>
#include <memory>
#include <string>
#include <vector>

namespace tarnel {

/// Holds a subscription to each daemon and keeps its newest snapshot. A daemon that goes away is waited for; where none
/// has ever been there, the queue ends.
/// Thread-safety: one owner, who takes and destroys.
class LiveQueue {
public:
    struct Machine {
        std::string label; ///< Of the daemon, in messages.
        std::shared_ptr<const MachineSnapshot> snapshot = nullptr; ///< The newest; null before the first.
        std::shared_ptr<DaemonLink> link = nullptr; ///< To send commands over; null while it is not connected.
        std::vector<CommandReply> replies = {}; ///< New since the last view was taken, none older than `snapshot`.
        bool isConnected = false;
        bool wasConnected = false; ///< Now or ever.
        std::exception_ptr failure = nullptr; ///< Why it is not connected; null while it is, or has not yet failed.
    };

    struct View {
        std::vector<Machine> machines; ///< In the order of the daemons, never none.
        bool oldestFirst = false; ///< How items of equal urgency are ordered among machines.

        [[nodiscard]] bool isConnected() const; ///< To any.
        [[nodiscard]] bool hasSnapshot() const; ///< Of any.
        [[nodiscard]] bool hasEnded() const; ///< Nothing more will come.
        [[nodiscard]] std::vector<AttentionItem> queue() const; ///< Of all machines as one.
    };

    LiveQueue(const std::vector<Daemon>& daemons, bool oldestFirst, Backoff backoff);
    ~LiveQueue();
    LiveQueue(const LiveQueue&) = delete;
    LiveQueue& operator=(const LiveQueue&) = delete;

    /// Readable when there is a view that was not yet taken.
    [[nodiscard]] int descriptor() const { return news.descriptor(); }

    /// The state as it is now. Never blocks.
    View take() TARNEL_EXCLUDES(mutex);

private:
    FollowLink::Listener listenerFor(std::size_t index);
    template <class Change> void update(Change change) TARNEL_EXCLUDES(mutex);

    Wakeup news; // raised and lowered with the mutex held
    Mutex mutex;
    View view TARNEL_GUARDED_BY(mutex);
    std::vector<std::unique_ptr<FollowLink>> links; // last: they use all the above
};

} // namespace tarnel
