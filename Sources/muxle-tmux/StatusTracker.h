// muxle-tmux/StatusTracker.h: tells what an agent is doing from what its pane shows.
#pragma once
#include "TarnelCore/Base/Clock.h"
#include "TarnelCore/Muxle/MuxleModels.h"
#include <chrono>
#include <functional>

namespace tarnel::tmux {

/// A fold over sights of one agent's pane. An agent is working while its title shows a spinner or its output has just
/// moved. When it falls quiet it is blocked if its screen asks, else done; done becomes idle once the user has seen it.
class StatusTracker {
public:
    using Instant = Clock::Instant;

    /// How long a pane must not move to be quiet: more than the second between the ticks of an agent's clock.
    static constexpr std::chrono::milliseconds quiet{2000};

    struct Sight {
        Instant now;
        bool hasMoved = false; ///< The pane shows something else than at the last sight.
        bool isOwnMove = true; ///< The agent moved by itself: it was not just told to redraw.
        bool hasSpinner = false;
        bool isSeen = false; ///< The user is looking at the pane, or has come to it since the last sight.
    };

    /// `asks` reads the screen; it is called only when the answer matters.
    AgentStatus update(const Sight& sight, const std::function<bool()>& asks);

private:
    AgentStatus status = AgentStatus::idle;
    std::optional<Instant> moved; // of its own
    std::optional<Instant> changed; // at all
    bool isUnread = true; // the screen has changed since it was last asked
};

} // namespace tarnel::tmux
