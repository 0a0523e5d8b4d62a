// TarnelCore/Daemon/Publisher.h: the current snapshot, and who is told when it changes.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Daemon/Connection.h"
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

/// Holds the last snapshot and pushes each one whose content is new to every subscriber, encoded once.
/// Thread-safety: every operation may be called from any thread; `publish` by one at a time.
class Publisher {
public:
    using Snapshot = std::shared_ptr<const MachineSnapshot>;

    /// The last snapshot; null before the first.
    [[nodiscard]] Snapshot current() const TARNEL_EXCLUDES(mutex);

    /// Makes `snapshot` the current one, and pushes it when its content differs from the one before. Returns whether it
    /// did. Never waits for a subscriber.
    bool publish(const Snapshot& snapshot) TARNEL_EXCLUDES(mutex);

    /// Adds a connection, and pushes it the current snapshot when there is one. Later changes follow; none between is lost.
    void subscribe(const std::shared_ptr<Connection>& connection) TARNEL_EXCLUDES(mutex);

    void unsubscribe(const std::shared_ptr<Connection>& connection) TARNEL_EXCLUDES(mutex);

private:
    mutable Mutex mutex;
    Snapshot latest TARNEL_GUARDED_BY(mutex);
    std::uint64_t version TARNEL_GUARDED_BY(mutex) = 0; // counts what `latest` has been
    std::vector<std::shared_ptr<Connection>> subscribers TARNEL_GUARDED_BY(mutex); // in the order in which they came
};

} // namespace tarnel
