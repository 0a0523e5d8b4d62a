// TarnelCore/Daemon/DaemonLink.h: an open subscription to the daemon.
#pragma once
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Commands/Command.h"
#include "TarnelCore/UnixSocket/LineChannel.h"
#include <atomic>
#include <memory>

namespace tarnel {

/// The writing half of a subscription, while `DaemonClient::subscribe` reads the other.
/// Thread-safety: every operation may be called from any thread.
class DaemonLink {
public:
    explicit DaemonLink(std::shared_ptr<LineChannel> opened);

    /// Sends a command; how it fares comes to the subscriber. Throws SocketError; `closed` once the link is closed.
    void send(const Command& command) TARNEL_EXCLUDES(mutex);

    /// Ends the subscription: its reader sees the end of the stream. Any number of times.
    void close() noexcept TARNEL_EXCLUDES(mutex);

    /// Whether the daemon has said that it takes commands on this link.
    [[nodiscard]] bool takesCommands() const { return acceptsCommands; }

private:
    friend class DaemonClient;

    void write(const JSON& request) TARNEL_EXCLUDES(mutex);

    const std::shared_ptr<LineChannel> channel;
    std::atomic<bool> acceptsCommands = false; // set once, by the reader, before it tells anyone of the link

    Mutex mutex;
    bool isClosed TARNEL_GUARDED_BY(mutex) = false;
};

} // namespace tarnel
