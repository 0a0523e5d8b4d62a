#include "TarnelCore/Daemon/Refresher.h"
#include <exception>
#include <string>

namespace tarnel {

namespace {

std::string milliseconds(Clock::Instant from, Clock::Instant to)
{
    return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(to - from).count());
}

} // namespace

Refresher::Refresher(AttentionEngine& source, Publisher& target, Clock& time, const Log& lines,
    const SerialQueueFactory& makeQueue, Hooks called)
    : engine(source)
    , publisher(target)
    , clock(time)
    , log(lines)
    , hooks(std::move(called))
    , queue(makeQueue("tarneld.refresh"))
{
}

Publisher::Snapshot Refresher::refresh()
{
    if (engine.muxle().isAbsent())
        return publisher.current(); // as when asking it fails
    const Clock::Instant asked = clock.elapsed();
    if (!begin())
        return publisher.current();
    struct End {
        Refresher& refresher;
        ~End() { refresher.end(); }
    } const atEnd{*this};
    const Clock::Instant began = clock.elapsed();
    Publisher::Snapshot snapshot;
    try {
        snapshot = std::make_shared<const MachineSnapshot>(engine.snapshot());
    } catch (const std::exception&) {
        return publisher.current(); // the next refresh tries again; the event watch says what is wrong
    }
    log.message("TMP refresh waited " + milliseconds(asked, began) + "ms took " + milliseconds(began, clock.elapsed())
        + "ms panes " + std::to_string(snapshot->agents.size()));
    hooks.beforePublish(*snapshot, began);
    if (publisher.publish(snapshot))
        log.message("TMP push");
    hooks.afterPublish(*snapshot);
    return snapshot;
}

/// Waits for a refresh in progress. Returns false when there is nothing left to do: a whole refresh has passed
/// meanwhile that began after the call, and so saw all that the caller wants to see.
bool Refresher::begin()
{
    MutexLock lock(mutex);
    const std::uint64_t needed = begun + 1;
    while (begun > ended && ended < needed)
        changed.wait(mutex);
    if (isStopped || ended >= needed)
        return false;
    ++begun;
    return true;
}

void Refresher::end()
{
    {
        MutexLock lock(mutex);
        ended = begun;
    }
    changed.notifyAll();
}

void Refresher::stop()
{
    MutexLock lock(mutex);
    isStopped = true;
    while (begun > ended)
        changed.wait(mutex);
}

void Refresher::schedule(std::chrono::nanoseconds delay)
{
    {
        MutexLock lock(mutex);
        if (isScheduled)
            return;
        isScheduled = true;
    }
    queue->dispatchAfter(delay, [this] {
        {
            MutexLock lock(mutex);
            isScheduled = false; // before the refresh, so that what happens during it schedules another
        }
        refresh();
    });
}

} // namespace tarnel
