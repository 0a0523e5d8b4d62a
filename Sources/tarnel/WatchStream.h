// tarnel/WatchStream.h: what `tarnel watch` prints where the output is no terminal.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "tarnel/QueueTable.h"
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

/// Turns snapshots into lines, each said once for as long as it stays true.
/// Thread-safety: none.
class WatchStream {
public:
    /// The lines, each with its line feed, of those items that are new since the last snapshot or read otherwise; the
    /// passing of time alone is no news. One friendly line when nothing waits any more.
    std::string news(const MachineSnapshot& snapshot, Timestamp now, std::size_t columns);

private:
    std::optional<std::vector<QueueRow>> said; // of the last snapshot; absent before the first
};

} // namespace tarnel
