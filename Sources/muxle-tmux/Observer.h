// muxle-tmux/Observer.h: streams what one pane shows to one viewer.
#pragma once
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/JSON/JSON.h"
#include "muxle-tmux/ControlClient.h"
#include "muxle-tmux/ScreenFrame.h"
#include "muxle-tmux/TmuxAddress.h"
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tarnel::tmux {

/// Sends frames: first a full one, then what the program in the pane writes, and a full one again where a viewer could
/// not follow by that alone: when the pane has another size, when the program changes screens, or when the viewer is so
/// slow that output had to be left out. It has a tmux client of its own, attached to a session that shows the pane,
/// since tmux tells a client of output in its own session only, and only while that counts as attached.
/// Thread-safety: construct and destroy on one thread. Lifetime: it streams from construction until the pane or tmux
/// goes, the viewer fails, or it is destroyed; the destructor waits for `send`.
class Observer {
public:
    /// Sends one line: {"type":"terminal.frame", ...}, at the end {"type":"terminal.closed"}. May block on the viewer,
    /// and throws when the viewer has gone.
    using Send = std::function<void(const JSON&)>;
    /// After the last line, on the observer's thread.
    using Ended = std::function<void()>;

    /// Throws std::system_error when tmux cannot be started.
    Observer(const TmuxAddress& address, std::int64_t pane, std::int64_t session, Send send, Ended ended);
    ~Observer();
    Observer(const Observer&) = delete;
    Observer& operator=(const Observer&) = delete;

private:
    struct Batch {
        std::string output; // since the last answer
        bool isAnswered = false; // the redraw that was asked for has come, right before `output`
        bool isHinted = false; // the pane may have another size, or be gone
        bool hasEnded = false;
    };

    void notified(const ControlNotification& notification) TARNEL_EXCLUDES(mutex);
    void answered() TARNEL_EXCLUDES(mutex);
    void stream();
    void follow();
    void askRedraw(const std::vector<std::string>& before = {});
    void redraw();
    void update(const std::string& output);
    Batch nextBatch() TARNEL_EXCLUDES(mutex);
    void sendFrame(const std::string& bytes, bool isFull);

    const std::int64_t pane;
    const Send send;
    const Ended ended;

    // Of the observer's thread.
    std::int64_t session;
    std::optional<ControlClient::Pending> asked; // for a redraw
    std::optional<ScreenState> shown; // absent until the first frame

    Mutex mutex;
    Condition changed; // notified after any field below changes
    std::string pending TARNEL_GUARDED_BY(mutex); // output that has not been taken up
    bool hasOverflowed TARNEL_GUARDED_BY(mutex) = false; // some of it was left out
    bool isAnswered TARNEL_GUARDED_BY(mutex) = false;
    bool isHinted TARNEL_GUARDED_BY(mutex) = false;
    bool hasEnded TARNEL_GUARDED_BY(mutex) = false;
    std::optional<ControlClient> tmux;
    std::thread thread; // last: all that it uses exists before it starts
};

} // namespace tarnel::tmux
