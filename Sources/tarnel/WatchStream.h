// tarnel/WatchStream.h: what `tarnel watch` prints where the output is no terminal.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "tarnel/QueueTable.h"
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

/// Turns queues into lines, each said once for as long as it stays true.
/// Thread-safety: none.
class WatchStream {
public:
    explicit WatchStream(bool severalMachines = false)
        : hasMachine(severalMachines)
    {
    }

    /// The lines, each with its line feed, of those items that are new since the last time or read otherwise; the
    /// passing of time alone is no news. One friendly line when nothing waits any more.
    std::string news(const std::vector<AttentionItem>& queue, Timestamp now, std::size_t columns);

    /// The same for programs: `{"item":...}` for an item that is new or has changed, `{"gone":"..."}` with the id of
    /// one that is no longer in the queue.
    std::string newsAsJSON(const std::vector<AttentionItem>& queue);

private:
    const bool hasMachine;
    std::optional<std::vector<QueueRow>> said; // the last time; absent before the first
    std::map<std::string, AttentionItem> told; // the same for programs, by id
};

} // namespace tarnel
