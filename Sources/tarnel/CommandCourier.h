// tarnel/CommandCourier.h: carries one command to a daemon and tells how it fares, across lost connections.
#pragma once
#include "TarnelCore/Commands/Outbox.h"
#include "tarnel/DaemonAccess.h"
#include "tarnel/FollowLink.h"
#include "tarnel/Mailbox.h"
#include <exception>
#include <memory>
#include <optional>
#include <variant>

namespace tarnel {

/// Sends the command whenever a connection opens and it is not settled: a daemon that still knows its id runs it only
/// once, one that was restarted meanwhile has forgotten it.
/// Thread-safety: one owner.
class CommandCourier {
public:
    /// A daemon has gone or was never there, for a reason.
    struct Lost {
        std::exception_ptr failure;
        bool isFinal = false; ///< It was never there: there will be no more news.
    };
    /// The daemon takes no commands.
    struct Refused { };
    using News = std::variant<CommandReply, Lost, Refused>;

    CommandCourier(const Daemon& daemon, Command command, Backoff backoff);

    /// Readable while there may be news.
    [[nodiscard]] int descriptor() const { return mailbox.descriptor(); }

    /// What has happened since the last time; nothing when there is no news. A reply that was told before, as after a
    /// new connection, is none. Never blocks but to send.
    std::optional<News> take();

    /// Whether the daemon has been heard to hold the command.
    [[nodiscard]] bool isHeld() const;

private:
    using Opened = std::shared_ptr<DaemonLink>;
    using Letter = std::variant<Opened, CommandReply, Lost>;

    std::optional<News> read(const Opened& link);
    std::optional<News> read(const CommandReply& reply);
    std::optional<News> read(const Lost& lost);

    const std::string machine;
    Outbox outbox;
    bool wasConnected = false;
    Mailbox<Letter> mailbox;
    std::unique_ptr<FollowLink> link; // last: it uses the mailbox
};

} // namespace tarnel
