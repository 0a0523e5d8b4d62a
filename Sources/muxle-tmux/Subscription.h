// muxle-tmux/Subscription.h: which events a connection has asked for.
#pragma once
#include "TarnelCore/JSON/JSON.h"
#include <set>
#include <string>

namespace tarnel::tmux {

/// A value. Thread-safety: none.
class Subscription {
public:
    /// Adds elements of the form {"type": name} or {"pane_id": id, "type": "pane.agent_status_changed"}.
    /// Throws TmuxError::invalidParams for others, and then adds nothing.
    void add(const JSON::Array& subscriptions);

    [[nodiscard]] bool includes(const JSON::Object& event) const;

private:
    std::set<std::string, std::less<>> types;
    std::set<std::string, std::less<>> panes; // whose changes of status
};

} // namespace tarnel::tmux
