// Tests/Simulation/SimulatedDaemon.h: the daemon's parts, put together as the daemon does, over a simulated world.
#pragma once
#include "Simulation/Ledger.h"
#include "Simulation/Link.h"
#include "Simulation/SimulatedMuxle.h"
#include "TarnelCore/Daemon/CommandActions.h"
#include "TarnelCore/Daemon/Connection.h"
#include "TarnelCore/Daemon/Publisher.h"
#include "TarnelCore/Daemon/Refresher.h"
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tarnel::sim {

/// One life of the daemon: engine, guard, executor, refresh, publisher and connections are the real ones. What
/// TarnelDaemon does with threads and sockets is done with activities and links. Lifetime: `stop` before it goes,
/// unless it was killed.
class SimulatedDaemon {
public:
    SimulatedDaemon(
        Scheduler& scheduler, Ledger& ledger, const std::shared_ptr<SimulatedMuxle>& muxle, std::string home);

    /// Serves a new connection.
    std::shared_ptr<Link> connect();
    /// Answers as the method "answer" does, on a thread of its own.
    void answer(const std::string& id, const AnswerRequest& request);
    /// The multiplexer has reported an event.
    void refreshSoon();
    /// Ends all connections and waits until nobody works any more but for the executor, which goes with the daemon.
    void stop();

private:
    CommandExecutor::Outcome carryOut(Attempt::Kind kind, const Command& command);
    void work(std::string name, std::function<void()> body);
    void serve(const std::shared_ptr<Connection>& connection);
    void answerLine(const std::shared_ptr<Connection>& connection, const std::string& line);
    void submit(const std::shared_ptr<Connection>& connection, Command command);

    Scheduler& scheduler;
    Ledger& ledger;
    Log log;
    AttentionEngine engine;
    Publisher publisher;
    Refresher refresher;
    AnswerGuard answers;
    CommandActions actions;
    CommandExecutor commands;
    std::vector<std::shared_ptr<Connection>> connections;
    std::size_t working = 0; // activities that use the above
    bool isStopping = false;
};

/// The version of the world that a snapshot shows.
std::int64_t versionOf(const MachineSnapshot& snapshot);

} // namespace tarnel::sim
