// TarnelCore/Records/StatusLineCache.h: status lines, read again only when their record has changed.
#pragma once
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Records/RecordPlace.h"
#include "TarnelCore/Records/StatusLine.h"
#include <map>
#include <optional>
#include <set>

namespace tarnel {

/// Remembers what `StatusLineReader` made of a record, as long as the file that tells it stays the same: by time of
/// modification and size, and by being the same file. Looking costs one system call.
/// Thread-safety: every operation from any thread. Records are read without the lock, so two threads may read the same.
class StatusLineCache {
public:
    /// The record's status line; nothing when it tells none.
    std::optional<StatusLine> statusLine(const RecordPlace& place) TARNEL_EXCLUDES(mutex);

    /// Forgets the records that are not among `places`.
    void retain(const std::set<RecordPlace>& places) TARNEL_EXCLUDES(mutex);

private:
    struct Entry {
        std::optional<Files::Stamp> stamp; // absent: there was no such file
        std::optional<StatusLine> line;
    };

    Mutex mutex;
    std::map<RecordPlace, Entry> entries TARNEL_GUARDED_BY(mutex);
};

} // namespace tarnel
