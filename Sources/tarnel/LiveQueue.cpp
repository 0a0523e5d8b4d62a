#include "tarnel/LiveQueue.h"
#include "tarnel/QueueMerge.h"
#include <algorithm>
#include <utility>

namespace tarnel {

bool LiveQueue::View::isConnected() const
{
    return std::any_of(machines.begin(), machines.end(), [](const Machine& each) { return each.isConnected; });
}

bool LiveQueue::View::hasSnapshot() const
{
    return std::any_of(machines.begin(), machines.end(), [](const Machine& each) { return each.snapshot != nullptr; });
}

bool LiveQueue::View::hasEnded() const
{
    return std::all_of(
        machines.begin(), machines.end(), [](const Machine& each) { return each.failure && !each.wasConnected; });
}

std::vector<AttentionItem> LiveQueue::View::queue() const
{
    std::vector<std::vector<AttentionItem>> queues;
    for (const Machine& machine : machines) {
        if (machine.snapshot)
            queues.push_back(machine.snapshot->queue);
    }
    return QueueMerge::merged(std::move(queues), oldestFirst);
}

LiveQueue::LiveQueue(const std::vector<Daemon>& daemons, bool oldestFirst, Backoff backoff)
{
    {
        MutexLock lock(mutex);
        view.oldestFirst = oldestFirst;
        for (const Daemon& daemon : daemons)
            view.machines.push_back({.label = daemon.label()});
    }
    for (std::size_t i = 0; i < daemons.size(); ++i)
        links.push_back(std::make_unique<FollowLink>(daemons[i].opener, listenerFor(i), backoff));
}

LiveQueue::~LiveQueue() = default;

LiveQueue::View LiveQueue::take()
{
    MutexLock lock(mutex);
    news.lower();
    View taken = view;
    for (Machine& machine : view.machines)
        machine.replies.clear();
    return taken;
}

FollowLink::Listener LiveQueue::listenerFor(std::size_t index)
{
    DaemonClient::Subscriber subscriber;
    subscriber.onOpen = [this, index](const std::shared_ptr<DaemonLink>& link) {
        update([&](View& now) {
            now.machines[index].link = link;
            now.machines[index].isConnected = now.machines[index].wasConnected = true;
            now.machines[index].failure = nullptr;
        });
    };
    subscriber.onSnapshot = [this, index](const MachineSnapshot& snapshot) {
        auto newest = std::make_shared<const MachineSnapshot>(snapshot);
        update([&](View& now) { now.machines[index].snapshot = std::move(newest); });
    };
    subscriber.onReply = [this, index](const CommandReply& reply) {
        update([&](View& now) { now.machines[index].replies.push_back(reply); });
    };
    const auto onLost = [this, index](std::exception_ptr failure) {
        update([&](View& now) {
            now.machines[index].link = nullptr;
            now.machines[index].isConnected = false;
            now.machines[index].failure = std::move(failure);
        });
        return true; // the owner sees from the view when there is no use in it
    };
    return {std::move(subscriber), onLost};
}

/// Makes a change known; `change` gets the view.
template <class Change> void LiveQueue::update(Change change)
{
    MutexLock lock(mutex);
    change(view);
    news.raise();
}

} // namespace tarnel
