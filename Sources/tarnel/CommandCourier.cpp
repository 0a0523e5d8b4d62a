#include "tarnel/CommandCourier.h"
#include "TarnelCore/UnixSocket/SocketError.h"
#include <utility>

namespace tarnel {

CommandCourier::CommandCourier(const Daemon& daemon, Command command, Backoff backoff)
    : machine(daemon.label())
{
    outbox.add(std::move(command), machine);
    DaemonClient::Subscriber subscriber;
    subscriber.onOpen = [this](const Opened& opened) { mailbox.put(opened); };
    subscriber.onReply = [this](const CommandReply& reply) { mailbox.put(reply); };
    const auto onLost = [this](std::exception_ptr failure) {
        mailbox.put(Lost{std::move(failure)});
        return true; // the owner sees when there is no use in it
    };
    link = std::make_unique<FollowLink>(daemon.opener, FollowLink::Listener{std::move(subscriber), onLost}, backoff);
}

std::optional<CommandCourier::News> CommandCourier::take()
{
    while (const auto letter = mailbox.take()) {
        if (auto news = std::visit([&](const auto& content) { return read(content); }, *letter))
            return news;
    }
    return std::nullopt;
}

bool CommandCourier::isHeld() const
{
    return !outbox.entries().empty() && outbox.entries().front().status == CommandReply::Status::held;
}

std::optional<CommandCourier::News> CommandCourier::read(const Opened& opened)
{
    wasConnected = true;
    if (!opened->takesCommands())
        return Refused{};
    for (const Command& command : outbox.unfinished(machine)) {
        try {
            opened->send(command);
        } catch (const SocketError&) {
            break; // the loss is told next, and the command sent again after that
        }
    }
    return std::nullopt;
}

std::optional<CommandCourier::News> CommandCourier::read(const CommandReply& reply)
{
    const bool wasHeld = isHeld();
    if (!outbox.record(reply) || (wasHeld && !reply.isFinal()))
        return std::nullopt;
    return reply;
}

std::optional<CommandCourier::News> CommandCourier::read(const Lost& lost)
{
    if (outbox.entries().empty())
        return std::nullopt; // it is settled
    return Lost{lost.failure, !wasConnected};
}

} // namespace tarnel
