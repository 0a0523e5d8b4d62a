// tarnel/CommandSender.h: sends commands to a daemon that comes and goes.
#pragma once
#include "TarnelCore/Base/SerialQueue.h"
#include "TarnelCore/Commands/Outbox.h"
#include "TarnelCore/Daemon/DaemonLink.h"
#include <memory>

namespace tarnel {

/// Sends each command over the link that there is, and again over every later one until its final reply: the daemon
/// runs an id that comes again once. No operation blocks.
/// Thread-safety: one owner.
/// Lifetime: the destructor closes the link that it was given last, so that a daemon which does not read keeps nobody.
class CommandSender {
public:
    explicit CommandSender(SerialQueueFactory makeQueue = ThreadQueue::make);
    ~CommandSender();
    CommandSender(const CommandSender&) = delete;
    CommandSender& operator=(const CommandSender&) = delete;

    /// Takes the link as it is now, null while there is none; a new one gets all that is unfinished.
    void follow(const std::shared_ptr<DaemonLink>& current);

    /// `predict` is what the command is expected to change; it may be empty.
    void send(const Command& command, Outbox::Prediction predict = {});

    /// The snapshot as the commands that are under way will make it; the same one where they change nothing.
    [[nodiscard]] std::shared_ptr<const MachineSnapshot> predicted(
        const std::shared_ptr<const MachineSnapshot>& snapshot) const;

    void settle(const CommandReply& reply);

private:
    void dispatch(const Command& command);

    Outbox outbox; // of one machine, which needs no name
    std::shared_ptr<DaemonLink> link;
    std::unique_ptr<SerialQueue> queue;
};

} // namespace tarnel
