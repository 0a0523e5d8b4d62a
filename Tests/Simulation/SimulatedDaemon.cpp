#include "Simulation/SimulatedDaemon.h"

namespace tarnel::sim {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::nanoseconds tickInterval = 2s;
constexpr std::chrono::nanoseconds debounce = 150ms;
constexpr std::chrono::nanoseconds afterAnswering = 100ms;

std::map<std::string, AgentStatus> statuses(const MachineSnapshot& snapshot)
{
    std::map<std::string, AgentStatus> byPane;
    for (const MuxleAgent& agent : snapshot.agents)
        byPane.insert_or_assign(agent.paneID, agent.status);
    return byPane;
}

} // namespace

std::int64_t versionOf(const MachineSnapshot& snapshot)
{
    std::int64_t version = 0;
    for (const MuxleAgent& agent : snapshot.agents)
        version = std::max(version, agent.revision);
    return version;
}

SimulatedDaemon::SimulatedDaemon(
    Scheduler& clock, Ledger& notes, const std::shared_ptr<SimulatedMuxle>& muxle, std::string home)
    : scheduler(clock)
    , ledger(notes)
    , log{[](std::string_view) {}}
    , engine(MuxleClient(muxle), "studio", QueueOptions(), {.clock = clock, .home = std::move(home)})
    , refresher(engine, publisher, clock, log, clock.queues(),
          {.beforePublish = [this](const MachineSnapshot& snapshot,
                                Clock::Instant asked) { commands.agentsChanged(statuses(snapshot), asked); },
              .afterPublish = [this](const MachineSnapshot& snapshot) { ledger.published(versionOf(snapshot)); }})
    , answers(engine, clock)
    , actions(engine, answers, clock, log)
    , commands({.run = [this](const Command& command) { return carryOut(Attempt::Kind::run, command); },
                   .deliver = [this](const Command& command) { return carryOut(Attempt::Kind::deliver, command); },
                   .publish = [this] { refresher.refresh(); }},
          clock.queues(), clock)
{
    ledger.daemonStarted();
    work("tarneld.tick", [this] {
        refresher.refresh();
        while (!isStopping) {
            scheduler.waitFor(&isStopping, scheduler.elapsed() + tickInterval);
            refresher.schedule(0ns);
        }
    });
}

/// Runs `body` on an activity for which `stop` waits.
void SimulatedDaemon::work(std::string name, std::function<void()> body)
{
    ++working;
    scheduler.start(Scheduler::Group::daemon, std::move(name), [this, body = std::move(body)] {
        body();
        --working;
        scheduler.wake(&working);
    });
}

void SimulatedDaemon::stop()
{
    isStopping = true;
    scheduler.wake(&isStopping);
    const auto ending = connections; // they leave meanwhile
    for (const auto& connection : ending)
        connection->close();
    refresher.stop();
    while (working > 0)
        scheduler.waitFor(&working);
}

void SimulatedDaemon::refreshSoon()
{
    if (!isStopping)
        work("tarneld.events", [this] { refresher.schedule(debounce); });
}

CommandExecutor::Outcome SimulatedDaemon::carryOut(Attempt::Kind kind, const Command& command)
{
    Attempt wanted{.kind = kind, .id = command.id, .command = command, .pane = paneOf(command.action)};
    if (const auto* action = std::get_if<AnswerAction>(&command.action))
        wanted.answer = action->request;
    Attempt& attempt = ledger.begin(std::move(wanted));
    scheduler.task() = &attempt;
    const auto end = [&] {
        scheduler.task() = nullptr;
        ledger.end(attempt);
    };
    try {
        attempt.outcome = kind == Attempt::Kind::run ? actions.run(command) : actions.deliver(command);
    } catch (const std::exception&) {
        attempt.hasThrown = true;
        end();
        throw;
    }
    if (attempt.answer)
        attempt.answered = decode<AnswerOutcome>(*std::get<CommandExecutor::Done>(*attempt.outcome).result);
    end();
    return *attempt.outcome;
}

void SimulatedDaemon::answer(const std::string& id, const AnswerRequest& request)
{
    if (isStopping)
        return;
    work("tarneld.client", [this, id, request] {
        Attempt& attempt = ledger.begin(
            {.kind = Attempt::Kind::answer, .id = id, .answer = request, .pane = request.fingerprint.paneID});
        scheduler.task() = &attempt;
        attempt.answered = answers.answer(request);
        scheduler.task() = nullptr;
        ledger.end(attempt);
        refresher.schedule(afterAnswering);
    });
}

std::shared_ptr<Link> SimulatedDaemon::connect()
{
    auto link = std::make_shared<Link>(scheduler);
    if (isStopping) {
        link->close();
        return link;
    }
    const auto connection = std::make_shared<Connection>(link, Connection::Limits(), scheduler.queues());
    connections.push_back(connection);
    work("tarneld.client", [this, connection] { serve(connection); });
    return link;
}

void SimulatedDaemon::serve(const std::shared_ptr<Connection>& connection)
{
    try {
        while (const auto line = connection->readLine())
            answerLine(connection, *line);
    } catch (const SocketError&) {
        // the connection's end
    }
    publisher.unsubscribe(connection);
    connection->finish();
    std::erase(connections, connection);
}

void SimulatedDaemon::answerLine(const std::shared_ptr<Connection>& connection, const std::string& line)
{
    const JSON request = JSON::parse(line);
    if (stringOf(request["method"]) == "command")
        return submit(connection, decode<Command>(*request["params"]));
    connection->reply(R"({"result":{"commands":true,"subscribed":true}})");
    connection->startPushing();
    publisher.subscribe(connection);
}

void SimulatedDaemon::submit(const std::shared_ptr<Connection>& connection, Command command)
{
    const std::string id = command.id;
    ledger.submitting(command);
    commands.submit(std::move(command), [this, client = std::weak_ptr(connection)](const CommandReply& reply) {
        if (isStopping)
            return; // all connections are closed
        ledger.replied(reply);
        JSON line = JSON::object({{"event", "command"}, {"reply", jsonValue(reply)}});
        (*line.object())["published"] = ledger.lastPublished(); // what the client must have been shown before
        if (const auto there = client.lock())
            there->pushEvent(std::make_shared<const std::string>(line.serialized()));
    });
    ledger.submitted(id);
}

} // namespace tarnel::sim
