// TarnelCore/Daemon/TarnelDaemon.h: the daemon as a whole.
#pragma once
#include "TarnelCore/Attention/AnswerGuard.h"
#include "TarnelCore/Attention/AttentionEngine.h"
#include "TarnelCore/Base/Clock.h"
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Base/SerialQueue.h"
#include "TarnelCore/Base/WorkerThreads.h"
#include "TarnelCore/Commands/CommandExecutor.h"
#include "TarnelCore/Daemon/CommandActions.h"
#include "TarnelCore/Daemon/Connection.h"
#include "TarnelCore/Daemon/EventWatch.h"
#include "TarnelCore/Daemon/Log.h"
#include "TarnelCore/Daemon/MethodTable.h"
#include "TarnelCore/Daemon/Publisher.h"
#include "TarnelCore/Daemon/Refresher.h"
#include "TarnelCore/Daemon/SocketClaim.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>

namespace tarnel {

/// Serves one machine's agents to local clients on a Unix socket, one thread a client.
/// Thread-safety: `run` by one thread, `stop` from any.
/// Lifetime: `stop`, let `run` return, then destroy; a process that serves until it is killed does none of it.
class TarnelDaemon {
public:
    struct World {
        Clock& clock = Clock::system();
        SerialQueueFactory makeQueue = ThreadQueue::make;
        Log log = {};
        /// Replaces the event watch's pauses, for tests.
        std::function<void(std::chrono::nanoseconds)> pauseWatch = {};
    };

    /// Does no input or output. The engine outlives the daemon.
    TarnelDaemon(AttentionEngine& engine, std::string socketPath, World world);
    ~TarnelDaemon();
    TarnelDaemon(const TarnelDaemon&) = delete;
    TarnelDaemon& operator=(const TarnelDaemon&) = delete;

    /// Claims the socket, makes the first snapshot and serves until `stop`. Throws DaemonError when another daemon has
    /// the socket or other users could take its place, SocketError when it cannot listen, std::system_error when the
    /// socket's directory cannot be made.
    void run();

    /// Ends `run` and every connection. Any number of times.
    void stop() TARNEL_EXCLUDES(mutex);

private:
    void tick() TARNEL_EXCLUDES(mutex);
    void acceptConnections(const std::shared_ptr<LineSocket>& listener) TARNEL_EXCLUDES(mutex);
    void acceptAndServe(const std::shared_ptr<LineSocket>& listener, std::size_t most) TARNEL_EXCLUDES(mutex);
    std::shared_ptr<Connection> accept(LineSocket& listener) TARNEL_EXCLUDES(mutex);
    [[nodiscard]] bool awaitFewer(std::size_t most) TARNEL_EXCLUDES(mutex);
    [[nodiscard]] bool othersAccept() TARNEL_EXCLUDES(mutex);
    [[nodiscard]] bool acceptsAgain() TARNEL_EXCLUDES(mutex);
    void serve(const std::shared_ptr<Connection>& connection) TARNEL_EXCLUDES(mutex);
    void remove(const std::shared_ptr<Connection>& connection) TARNEL_EXCLUDES(mutex);
    [[nodiscard]] bool add(const std::shared_ptr<Connection>& connection) TARNEL_EXCLUDES(mutex);
    /// Returns a line that was read but not answered.
    std::optional<std::string> answer(const std::shared_ptr<Connection>& connection, std::string_view line);
    void subscribe(const std::shared_ptr<Connection>& connection, const JSON& id);
    void submit(const std::shared_ptr<Connection>& connection, const JSON& id, const JSON::Object& params);
    std::optional<std::string> observe(
        const std::shared_ptr<Connection>& connection, const JSON& id, const JSON::Object& params);
    [[nodiscard]] std::string result(const std::string& method, const JSON::Object& params);
    /// Waits; returns false when the daemon stops.
    bool pause(std::chrono::nanoseconds duration) TARNEL_EXCLUDES(mutex);

    AttentionEngine& engine;
    const std::string socketPath;
    const World world;
    Publisher publisher;
    EventWatch watch;
    Refresher refresher;
    AnswerGuard answers;
    DaemonServices services;
    CommandActions actions;
    CommandExecutor commands;

    Mutex mutex;
    Condition stopped; // notified when `isStopping` is set
    Condition ended; // notified after one of `connections` has gone, or `isStopping` is set
    bool isStopping TARNEL_GUARDED_BY(mutex) = false;
    std::shared_ptr<LineSocket> listening TARNEL_GUARDED_BY(mutex);
    std::set<std::shared_ptr<Connection>> connections TARNEL_GUARDED_BY(mutex);
    std::size_t accepting TARNEL_GUARDED_BY(mutex) = 0; // threads that wait for a connection, or are about to

    std::optional<SocketClaim> claim; // set by `run`
    std::thread ticker;
    WorkerThreads serving; // last: its threads use all the above
};

} // namespace tarnel
