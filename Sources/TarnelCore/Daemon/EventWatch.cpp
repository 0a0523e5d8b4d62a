#include "TarnelCore/Daemon/EventWatch.h"
#include "TarnelCore/Base/Thread.h"
#include "TarnelCore/UnixSocket/SocketError.h"
#include <algorithm>
#include <array>
#include <exception>
#include <string_view>

namespace tarnel {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds firstDelay = 500ms;
constexpr std::chrono::milliseconds longestDelay = 30s;
constexpr std::chrono::nanoseconds debounce = 150ms; // a burst of events costs one refresh

constexpr std::array eventTypes{"pane.agent_detected"sv, "pane.created"sv, "pane.closed"sv, "pane.exited"sv,
    "pane.focused"sv, "tab.focused"sv, "workspace.focused"sv, "layout.updated"sv, "pane.moved"sv, "tab.created"sv,
    "tab.closed"sv, "tab.renamed"sv, "tab.moved"sv, "workspace.created"sv, "workspace.closed"sv, "workspace.renamed"sv,
    "workspace.metadata_updated"sv, "workspace.reordered"sv};

std::string inSeconds(std::chrono::milliseconds delay)
{
    return std::to_string(delay.count() / 1000) + "." + std::to_string(delay.count() % 1000 / 100);
}

} // namespace

EventWatch::EventWatch(MuxleClient client, const Log& lines, World surroundings)
    : muxle(std::move(client))
    , log(lines)
    , world(std::move(surroundings))
{
}

EventWatch::~EventWatch() { stop(); }

void EventWatch::stop()
{
    std::shared_ptr<LineChannel> last;
    {
        MutexLock lock(mutex);
        isStopping = true;
        last = open;
    }
    stopped.notifyAll();
    if (last)
        last->close();
    if (thread.joinable())
        thread.join();
}

void EventWatch::start()
{
    thread = std::thread([this] {
        setThreadName("tarneld.events");
        follow();
    });
}

EventWatch::PaneSet EventWatch::agentPanes(const MachineSnapshot& snapshot)
{
    PaneSet panes;
    for (const MuxleAgent& agent : snapshot.agents) {
        if (agent.isAgent())
            panes.insert(agent.paneID);
    }
    return panes;
}

JSON::Array EventWatch::subscriptions(const PaneSet& panes)
{
    JSON::Array events;
    for (const std::string_view type : eventTypes)
        events.push_back(JSON::object({{"type", type}}));
    for (const std::string& pane : panes)
        events.push_back(JSON::object({{"type", "pane.agent_status_changed"}, {"pane_id", pane}}));
    return events;
}

void EventWatch::agentPanesAre(const PaneSet& panes)
{
    std::shared_ptr<LineChannel> outdated;
    {
        MutexLock lock(mutex);
        if (open && watched != panes)
            outdated = open;
    }
    if (outdated)
        outdated->close(); // which ends `subscribe` on the watch's thread
}

bool EventWatch::hasStopped()
{
    MutexLock lock(mutex);
    return isStopping;
}

/// Whether a subscription is open, or was until now, that watches other panes than run agents.
bool EventWatch::isAimedElsewhere()
{
    const PaneSet panes = world.agentPanes();
    MutexLock lock(mutex);
    return open && watched != panes;
}

void EventWatch::pause(std::chrono::nanoseconds duration)
{
    if (world.pause)
        return world.pause(duration);
    const auto end = std::chrono::steady_clock::now() + duration;
    MutexLock lock(mutex);
    while (!isStopping && std::chrono::steady_clock::now() < end)
        stopped.waitUntil(mutex, end);
}

void EventWatch::subscribeOnce(std::chrono::milliseconds& delay)
{
    const auto report = [&](const std::string& problem) {
        log.message("muxle events: " + problem + "; retrying in " + inSeconds(delay) + "s");
    };
    if (muxle.isAbsent())
        return report(SocketError::missingText(muxle.socketPath()));
    const PaneSet panes = world.agentPanes();
    const auto onOpen = [&](std::shared_ptr<LineChannel> channel) {
        bool isTooLate = false;
        {
            MutexLock lock(mutex);
            open = channel;
            watched = panes;
            isTooLate = isStopping;
        }
        if (isTooLate)
            channel->close();
        world.scheduleRefresh(0ns); // for what happened while nobody listened
    };
    const auto onEvent = [&](const JSON& event) {
        log.message("TMP event " + stringOf(event["event"]).value_or("?"));
        world.scheduleRefresh(debounce);
    };
    try {
        muxle.subscribe(subscriptions(panes), onOpen, onEvent);
        delay = firstDelay;
    } catch (const std::exception& error) {
        // A subscription that was closed because the panes changed may end with an error, which is none.
        if (!isAimedElsewhere() && !hasStopped())
            report(error.what());
    }
}

void EventWatch::follow()
{
    std::chrono::milliseconds delay = firstDelay;
    while (!hasStopped()) {
        subscribeOnce(delay);
        const bool isOutdated = isAimedElsewhere();
        {
            MutexLock lock(mutex);
            open = nullptr;
        }
        if (isOutdated)
            continue;
        pause(delay);
        delay = std::min(delay * 2, longestDelay);
    }
}

} // namespace tarnel
