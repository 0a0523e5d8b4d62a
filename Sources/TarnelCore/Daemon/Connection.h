// TarnelCore/Daemon/Connection.h: one client of the daemon.
#pragma once
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Base/SerialQueue.h"
#include "TarnelCore/UnixSocket/LineChannel.h"
#include "TarnelCore/UnixSocket/SocketError.h"
#include <chrono>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

/// A client's socket, and the lines that are pushed to it. Replies are written by the connection's own thread. Once the
/// client has subscribed, a pushed line goes out at once as far as the system has room for it; the rest, and what is
/// pushed meanwhile, wait here for a writer thread, so that nobody who pushes ever waits for a client. Of snapshots
/// only the newest waits, in the place of the one that it replaces; events keep their order. A client that lets a line
/// wait and takes nothing for a while, or has too many events waiting, is disconnected.
/// Thread-safety: one thread reads and replies; `push...` and `close` from any thread.
/// Lifetime: the destructor joins the writer, so it must not run on it.
class Connection {
public:
    using Line = std::shared_ptr<const std::string>; ///< Without line feed, shared by all connections that are sent it.

    /// What a client may leave untaken.
    struct Limits {
        std::chrono::nanoseconds stall = std::chrono::seconds(10); ///< Since it last took something of a line.
        std::size_t eventBytes = std::size_t{8} << 20; ///< Of events that wait.
    };

    explicit Connection(std::shared_ptr<LineChannel> socket)
        : Connection(std::move(socket), Limits())
    {
    }
    /// `makeQueue` gives the writer its thread.
    Connection(std::shared_ptr<LineChannel> socket, Limits limits, SerialQueueFactory makeQueue = ThreadQueue::make);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Blocks for the next request. Nothing at the end of the stream. Throws SocketError.
    std::optional<std::string> readLine() { return socket->readLine(); }

    /// Writes a reply, blocking while the client is slow. A failure is ignored: the next read sees the connection's
    /// end.
    void reply(std::string_view line) noexcept;

    /// From now on pushed lines are sent. Called by the reading thread, once or again.
    void startPushing() TARNEL_EXCLUDES(mutex);

    /// Queues a snapshot in place of one that waits and was not begun. One with a lower `version` than the last that
    /// was queued is dropped: a client never sees an older state after a newer one.
    void pushSnapshot(Line line, std::uint64_t version) TARNEL_EXCLUDES(mutex);
    /// Queues an event behind all that waits.
    void pushEvent(Line line) TARNEL_EXCLUDES(mutex);

    /// Ends the connection once the lines that wait are sent; later ones are dropped. Called by the reading thread, for
    /// a client that sends no more and may still read.
    void finish() noexcept TARNEL_EXCLUDES(mutex);

    /// Ends the connection: wakes its reader and its writer. Any thread, any number of times.
    void close() noexcept TARNEL_EXCLUDES(mutex);

    /// For what needs the socket itself, such as a stream of its own on this connection.
    [[nodiscard]] const std::shared_ptr<LineChannel>& channel() const { return socket; }

private:
    struct Waiting {
        Line line; // null: the rest of the line that the socket has started
        bool isSnapshot = false;
    };

    void writeLines() TARNEL_EXCLUDES(mutex);
    std::optional<Line> nextLine() TARNEL_EXCLUDES(mutex);
    void push(Line line, bool isSnapshot) TARNEL_REQUIRES(mutex);

    const std::shared_ptr<LineChannel> socket;
    const Limits limits;
    const SerialQueueFactory makeQueue;
    Mutex mutex;
    Condition changed; // notified after any field below changes
    std::list<Waiting> waiting TARNEL_GUARDED_BY(mutex);
    std::size_t eventBytes TARNEL_GUARDED_BY(mutex) = 0; // of the events in `waiting`
    std::uint64_t newestVersion TARNEL_GUARDED_BY(mutex) = 0; // of the snapshots queued so far
    bool isIdle TARNEL_GUARDED_BY(mutex) = false; // there is a writer, which has no line
    bool isEnding TARNEL_GUARDED_BY(mutex) = false; // no line is taken any more
    bool isClosed TARNEL_GUARDED_BY(mutex) = false; // nor sent
    /// With one task. Made and destroyed by the reading thread, or destroyed by the destructor.
    std::unique_ptr<SerialQueue> writer;
};

} // namespace tarnel
