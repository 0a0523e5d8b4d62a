#include "TarnelCore/Records/StatusLineCache.h"
#include "TarnelCore/Records/StatusLineReader.h"
#include <utility>

namespace tarnel {

namespace {

/// The file whose change means that the status line may have changed.
std::optional<Files::Stamp> stampOf(const RecordPlace& place)
{
    return Files::stamp(place.kind == RecordPlace::Kind::grok ? place.path + "/summary.json" : place.path);
}

} // namespace

std::optional<StatusLine> StatusLineCache::statusLine(const RecordPlace& place)
{
    // Taken before reading: what is written meanwhile changes the stamp, and is read the next time.
    const std::optional<Files::Stamp> stamp = stampOf(place);
    {
        MutexLock lock(mutex);
        const auto known = entries.find(place);
        if (known != entries.end() && known->second.stamp == stamp)
            return known->second.line;
    }
    std::optional<StatusLine> line = StatusLineReader::read(place);
    MutexLock lock(mutex);
    entries.insert_or_assign(place, Entry{stamp, line});
    return line;
}

void StatusLineCache::retain(const std::set<RecordPlace>& places)
{
    MutexLock lock(mutex);
    std::erase_if(entries, [&](const auto& entry) { return !places.contains(entry.first); });
}

} // namespace tarnel
