#include "tarnel/CommandSender.h"
#include "TarnelCore/UnixSocket/SocketError.h"

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

void CommandSender::send(const Command& command)
{
    outbox.add(command, "");
    if (link)
        dispatch(command);
}

void CommandSender::settle(const CommandReply& reply) { outbox.record(reply); }

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
