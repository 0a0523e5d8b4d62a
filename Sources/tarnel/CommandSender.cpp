#include "tarnel/CommandSender.h"
#include "TarnelCore/UnixSocket/SocketError.h"
#include <algorithm>
#include <utility>

namespace tarnel {

CommandSender::CommandSender(SerialQueueFactory makeQueue)
    : queue(makeQueue("tarnel.send"))
{
}

CommandSender::~CommandSender()
{
    if (link)
        link->close();
}

void CommandSender::follow(const std::shared_ptr<DaemonLink>& current)
{
    if (link == current)
        return;
    link = current;
    if (!link)
        return;
    for (const Command& command : outbox.unfinished(""))
        dispatch(command);
}

void CommandSender::send(const Command& command, Outbox::Prediction predict)
{
    outbox.add(command, "", std::move(predict));
    if (link)
        dispatch(command);
}

void CommandSender::settle(const CommandReply& reply) { outbox.record(reply); }

std::shared_ptr<const MachineSnapshot> CommandSender::predicted(
    const std::shared_ptr<const MachineSnapshot>& snapshot) const
{
    const auto& entries = outbox.entries();
    const bool changes = snapshot
        && std::any_of(entries.begin(), entries.end(), [](const Outbox::Entry& entry) { return !!entry.predict; });
    return changes ? std::make_shared<const MachineSnapshot>(outbox.apply(*snapshot, "")) : snapshot;
}

void CommandSender::dispatch(const Command& command)
{
    queue->dispatch([target = link, command] {
        try {
            target->send(command);
        } catch (const SocketError&) {
            // The link is gone; the next one gets the command again.
        }
    });
}

} // namespace tarnel
