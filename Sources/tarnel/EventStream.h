// tarnel/EventStream.h: which of a daemon's events are news.
#pragma once
#include "TarnelCore/JSON/JSON.h"
#include <optional>

namespace tarnel {

/// Tells the snapshot that every new connection begins with from one that has changed.
/// Thread-safety: none.
class EventStream {
public:
    /// Whether the event is to be printed: not when it is a snapshot like the last but for its time.
    bool isNews(const JSON& event);

private:
    std::optional<JSON> last; // the snapshot, without its time
};

} // namespace tarnel
