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
    const Clock::Instant asked = clock.elapsed();
    MutexLock lock(refreshMutex);
    if (isStopped)
        return publisher.current();
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

void Refresher::stop()
{
    MutexLock lock(refreshMutex);
    isStopped = true;
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
