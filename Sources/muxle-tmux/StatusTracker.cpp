#include "muxle-tmux/StatusTracker.h"

namespace tarnel::tmux {

AgentStatus StatusTracker::update(const Sight& sight, const std::function<bool()>& asks)
{
    if (sight.hasMoved) {
        changed = sight.now;
        isUnread = true;
        if (sight.isOwnMove)
            moved = sight.now;
    }
    const auto isRecent = [&](const std::optional<Instant>& when) { return when && sight.now - *when < quiet; };
    if (sight.hasSpinner || isRecent(moved)) {
        status = AgentStatus::working;
        isUnread = true;
    } else if (isUnread && !isRecent(changed)) {
        isUnread = false;
        if (asks())
            status = AgentStatus::blocked;
        else if (status == AgentStatus::working)
            status = AgentStatus::done;
        else if (status == AgentStatus::blocked) // the question went away without work
            status = AgentStatus::idle;
    }
    if (status == AgentStatus::done && sight.isSeen)
        status = AgentStatus::idle;
    return status;
}

} // namespace tarnel::tmux
