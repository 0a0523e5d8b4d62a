// TarnelCore/Records/TranscriptCache.h: the transcripts of records that other programs keep writing.
#pragma once
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Records/RecordPlace.h"
#include "TarnelCore/Records/RecordWindows.h"
#include "TarnelCore/Records/Transcript.h"
#include <map>
#include <memory>
#include <set>
#include <string>

namespace tarnel {

/// Reads records and keeps what it understood of them, so that one that has not changed costs a look at its file's
/// stamp, and one that has grown the reading of what was appended. Thread-safety: all operations, from any thread. Two
/// threads that want the same record read it once, the second waiting for the first; different records don't wait for
/// each other.
class TranscriptCache {
public:
    /// `home` is shown as "~" in the descriptions of tool steps.
    explicit TranscriptCache(std::string home, const RecordWindows::Sizes& sizes = RecordWindows::transcript);
    ~TranscriptCache();

    /// The transcript of the record as it is now, never null; the same object as long as the record does not change. A
    /// missing or unreadable record has the empty transcript. Blocks while it reads.
    std::shared_ptr<const Transcript> transcript(const RecordPlace& place) TARNEL_EXCLUDES(mutex);

    /// Forgets all records but those at `places`.
    void retain(const std::set<RecordPlace>& places) TARNEL_EXCLUDES(mutex);

private:
    struct Entry;
    using Entries = std::map<RecordPlace, std::shared_ptr<Entry>>;

    /// Waits for the record's turn. Whoever has it may use the entry without the lock, until `giveBack`.
    std::shared_ptr<Entry> take(const RecordPlace& place) TARNEL_EXCLUDES(mutex);
    void giveBack(Entry& entry) TARNEL_EXCLUDES(mutex);

    const std::string home;
    const RecordWindows::Sizes sizes;
    Mutex mutex;
    Condition givenBack; // notified after an entry's turn has ended
    Entries entries TARNEL_GUARDED_BY(mutex);
};

} // namespace tarnel
