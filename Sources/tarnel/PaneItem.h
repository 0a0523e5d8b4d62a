// tarnel/PaneItem.h: what a daemon says of one pane's agent.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "tarnel/PanePlace.h"
#include <optional>

namespace tarnel {

struct PaneItem {
    Card card;
    std::optional<AttentionItem> item; ///< Absent when the agent needs no one.
    JSON json; ///< As the daemon has sent it: an item, or an object with a card alone.

    /// Throws CommandError.
    static PaneItem ask(const PanePlace& place, DaemonClient::Seconds timeout);
};

/// The pane's item after the daemon has looked anew; nothing when it needs no one or the daemon cannot tell. `ask` is
/// quicker and may be some seconds behind.
std::optional<AttentionItem> itemAfterRefresh(const PanePlace& place, DaemonClient::Seconds timeout);

} // namespace tarnel
