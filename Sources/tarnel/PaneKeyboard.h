// tarnel/PaneKeyboard.h: types into a pane what is typed here.
#pragma once
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Base/SerialQueue.h"
#include "TarnelCore/Daemon/DaemonClient.h"
#include "tarnel/TypedKeys.h"
#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

/// Sends what is typed in its order, in few calls where the daemon is slower than the fingers. Never blocks its owner.
/// Thread-safety: one owner. The client outlives it.
/// Lifetime: the destructor waits until what was typed has been sent or has failed.
class PaneKeyboard {
public:
    PaneKeyboard(DaemonClient& daemon, std::string pane);
    ~PaneKeyboard() = default;
    PaneKeyboard(const PaneKeyboard&) = delete;
    PaneKeyboard& operator=(const PaneKeyboard&) = delete;

    void type(const std::vector<PaneTyping>& pieces) TARNEL_EXCLUDES(mutex);

    /// Why something that was typed did not arrive, said once; nothing when all did.
    std::optional<std::string> takeFailure() TARNEL_EXCLUDES(mutex);

    /// Blocks until what was typed has been sent or has failed.
    void drain() { queue->drain(); }

private:
    void sendWaiting() TARNEL_EXCLUDES(mutex);

    DaemonClient& client;
    const std::string pane;
    Mutex mutex;
    std::deque<PaneTyping> waiting TARNEL_GUARDED_BY(mutex);
    std::optional<std::string> failure TARNEL_GUARDED_BY(mutex);
    std::unique_ptr<SerialQueue> queue; // last: its tasks use all the above
};

} // namespace tarnel
