#include "TarnelCore/Daemon/TarnelDaemon.h"
#include "TarnelCore/Base/FileDescriptor.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Thread.h"
#include "TarnelCore/Daemon/PaneObservation.h"
#include "TarnelCore/JSON/JSONDocument.h"
#include <algorithm>
#include <cerrno>
#include <exception>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tarnel {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::nanoseconds tickInterval = 2s; // catches what makes no event, such as a growing record
constexpr std::chrono::nanoseconds acceptPause = 50ms;
/// How many threads wait for a connection at most, while others serve theirs. Two that take turns need no hand-off.
constexpr std::size_t mostAccepting = 2;
constexpr std::size_t longestRequest = std::size_t{64} << 20;

/// Descriptors that connections leave alone: for requests to the multiplexer, records, attachments and child processes.
constexpr std::size_t ownDescriptors = 64;

std::string successLine(const JSON& id, std::string_view result)
{
    JSONWriter writer;
    writer.writeEncoded(R"({"id":)");
    writer.write(id);
    writer.writeEncoded(R"(,"result":)");
    writer.writeEncoded(result);
    writer.writeEncoded("}");
    return writer.take();
}

JSON failure(std::string_view code, std::string_view message)
{
    return JSON::object({{"code", code}, {"message", message}});
}

std::string errorLine(const JSON& id, std::string_view code, std::string_view message)
{
    JSONWriter writer;
    writer.writeEncoded(R"({"error":{"code":)");
    writer.write(code);
    writer.writeEncoded(R"(,"message":)");
    writer.write(message);
    writer.writeEncoded(R"(},"id":)");
    writer.write(id);
    writer.writeEncoded("}");
    return writer.take();
}

std::map<std::string, AgentStatus> statuses(const MachineSnapshot& snapshot)
{
    std::map<std::string, AgentStatus> byPane;
    for (const MuxleAgent& agent : snapshot.agents)
        byPane.insert_or_assign(agent.paneID, agent.status);
    return byPane;
}

Connection::Line commandEvent(const CommandReply& reply)
{
    return std::make_shared<const std::string>(
        JSON::object({{"event", "command"}, {"reply", jsonValue(reply)}}).serialized());
}

/// For a line that cannot be understood as a request at all.
std::string badLine(std::string_view message)
{
    return JSON::object({{"error", failure("bad_request", message)}}).serialized();
}

} // namespace

TarnelDaemon::TarnelDaemon(AttentionEngine& source, std::string path, World surroundings)
    : engine(source)
    , socketPath(std::move(path))
    , world(std::move(surroundings))
    , watch(engine.muxle(), world.log,
          {.agentPanes =
                  [this] {
                      const auto snapshot = publisher.current();
                      return snapshot ? EventWatch::agentPanes(*snapshot) : EventWatch::PaneSet();
                  },
              .scheduleRefresh = [this](std::chrono::nanoseconds delay) { refresher.schedule(delay); },
              .pause = world.pauseWatch})
    , refresher(engine, publisher, world.clock, world.log, world.makeQueue,
          {.beforePublish = [this](const MachineSnapshot& snapshot,
                                Clock::Instant asked) { commands.agentsChanged(statuses(snapshot), asked); },
              .afterPublish =
                  [this](const MachineSnapshot& snapshot) { watch.agentPanesAre(EventWatch::agentPanes(snapshot)); }})
    , answers(engine, world.clock)
    , services{engine, publisher, refresher, answers, world.clock}
    , actions(engine, answers, world.clock, world.log)
    , commands({.run = [this](const Command& command) { return actions.run(command); },
                   .deliver = [this](const Command& command) { return actions.deliver(command); },
                   .publish = [this] { refresher.refresh(); }},
          world.makeQueue, world.clock)
    , serving("tarneld.client")
{
}

TarnelDaemon::~TarnelDaemon()
{
    stop();
    watch.stop(); // first: its thread schedules refreshes
    refresher.stop(); // before the executor goes, which a refresh tells of the agents
    if (ticker.joinable())
        ticker.join();
}

void TarnelDaemon::run()
{
    Files::createDirectories(Files::parent(socketPath), 0700);
    claim.emplace(socketPath);
    const auto listener = LineSocket::listen(socketPath);
    {
        MutexLock lock(mutex);
        listening = listener;
    }
    world.log.message(
        "listening on " + socketPath + " for machine " + engine.machine() + ", muxle " + engine.muxle().socketPath());
    refresher.refresh(); // so that the first subscriber is told at once
    watch.start();
    ticker = std::thread([this] { tick(); });
    acceptConnections(listener);
}

void TarnelDaemon::stop()
{
    std::set<std::shared_ptr<Connection>> ending;
    std::shared_ptr<LineSocket> listener;
    {
        MutexLock lock(mutex);
        isStopping = true;
        ending = connections;
        listener = listening;
    }
    stopped.notifyAll();
    ended.notifyAll();
    if (listener)
        listener->close();
    for (const auto& connection : ending)
        connection->close();
}

bool TarnelDaemon::pause(std::chrono::nanoseconds duration)
{
    const auto end = std::chrono::steady_clock::now() + duration;
    MutexLock lock(mutex);
    while (!isStopping && std::chrono::steady_clock::now() < end)
        stopped.waitUntil(mutex, end);
    return !isStopping;
}

void TarnelDaemon::tick()
{
    setThreadName("tarneld.tick");
    while (pause(tickInterval))
        refresher.schedule(0ns);
}

void TarnelDaemon::acceptConnections(const std::shared_ptr<LineSocket>& listener)
{
    {
        MutexLock lock(mutex);
        accepting = 1;
    }
    const std::size_t limit = descriptorLimit();
    const std::size_t most = limit - std::min(ownDescriptors, limit / 2);
    acceptAndServe(listener, most); // until others do it
    MutexLock lock(mutex);
    while (!isStopping)
        stopped.wait(mutex);
}

/// A thread that has accepted a connection serves it, since handing it to another would cost more than most requests;
/// one that waits for the next connection there always is. No more than `most` connections are open at once.
void TarnelDaemon::acceptAndServe(const std::shared_ptr<LineSocket>& listener, std::size_t most)
{
    while (awaitFewer(most)) {
        std::shared_ptr<Connection> connection;
        try {
            connection = accept(*listener);
            if (connection && !othersAccept())
                serving.run([this, listener, most] { acceptAndServe(listener, most); });
        } catch (const std::exception&) {
            // No descriptors, memory or threads left, most likely: what is served goes on, and may free some.
            if (connection)
                remove(connection);
            pause(acceptPause);
            continue;
        }
        if (!connection)
            continue;
        serve(connection);
        connection = nullptr;
        JSONDocument::shared().shrink();
        if (!acceptsAgain())
            return;
    }
}

/// The next connection; null when it is turned away.
std::shared_ptr<Connection> TarnelDaemon::accept(LineSocket& listener)
{
    auto socket = listener.accept();
    if (const auto user = socket->peerUser(); user != ::geteuid()) {
        world.log.message("turned away a connection of " + (user ? "user " + std::to_string(*user) : "an unknown user"));
        return nullptr;
    }
    socket->setLineLimit(longestRequest);
    const auto connection = std::make_shared<Connection>(std::move(socket));
    return add(connection) ? connection : nullptr;
}

/// Leaves accepting to the other threads that do. Returns false when there is none, and the caller's place is to be
/// taken by another.
bool TarnelDaemon::othersAccept()
{
    MutexLock lock(mutex);
    if (accepting == 1)
        return false;
    --accepting;
    return true;
}

/// Joins those that accept, unless they are enough or the daemon stops.
bool TarnelDaemon::acceptsAgain()
{
    MutexLock lock(mutex);
    if (isStopping || accepting == mostAccepting)
        return false;
    ++accepting;
    return true;
}

/// Waits until fewer than so many connections are open; returns false when the daemon stops.
bool TarnelDaemon::awaitFewer(std::size_t most)
{
    MutexLock lock(mutex);
    while (!isStopping && connections.size() >= most)
        ended.wait(mutex);
    return !isStopping;
}

void TarnelDaemon::serve(const std::shared_ptr<Connection>& connection)
{
    try {
        while (auto line = connection->readLine()) {
            while (line)
                line = answer(connection, *line);
        }
    } catch (const SocketError& error) {
        if (error.error == EMSGSIZE)
            connection->reply(badLine("line too long"));
    } catch (const std::exception&) {
        // No memory or no thread left for this client: it is let go, and the others are served.
    }
    publisher.unsubscribe(connection);
    connection->finish();
    remove(connection);
}

void TarnelDaemon::remove(const std::shared_ptr<Connection>& connection)
{
    {
        MutexLock lock(mutex);
        connections.erase(connection);
    }
    ended.notifyAll();
}

/// Returns false when the daemon stops, and nothing new is served.
bool TarnelDaemon::add(const std::shared_ptr<Connection>& connection)
{
    MutexLock lock(mutex);
    if (!isStopping)
        connections.insert(connection);
    return !isStopping;
}

std::optional<std::string> TarnelDaemon::answer(const std::shared_ptr<Connection>& connection, std::string_view line)
{
    const std::optional<JSONView> request = JSONDocument::shared().parse(line);
    if (!request) {
        connection->reply(badLine("not JSON"));
        return std::nullopt;
    }
    // Copied: what the request asks for may decode other texts.
    const auto [givenID, givenMethod, givenParams] = request->members({"id", "method", "params"});
    const JSON id = givenID ? givenID->value() : JSON();
    const std::string method(givenMethod ? givenMethod->string().value_or("") : "");
    const JSON given = givenParams && givenParams->isObject() ? givenParams->value() : JSON(JSON::Object());
    const JSON::Object& params = *given.object();
    try {
        if (method == "observe")
            return observe(connection, id, params);
        if (method == "subscribe")
            subscribe(connection, id);
        else if (method == "command")
            submit(connection, id, params);
        else if (!MethodTable::find(method))
            connection->reply(errorLine(id, "failed", DaemonError::unknownMethod(method).what()));
        else
            connection->reply(successLine(id, result(method, params)));
    } catch (const std::exception& error) {
        connection->reply(errorLine(id, "failed", error.what()));
    }
    return std::nullopt;
}

void TarnelDaemon::subscribe(const std::shared_ptr<Connection>& connection, const JSON& id)
{
    connection->reply(successLine(id, R"({"commands":true,"subscribed":true})"));
    connection->startPushing();
    publisher.subscribe(connection);
}

void TarnelDaemon::submit(const std::shared_ptr<Connection>& connection, const JSON& id, const JSON::Object& params)
{
    std::optional<Command> command;
    try {
        command = decode<Command>(JSON(params));
    } catch (const DecodingError&) {
        return connection->reply(errorLine(id, "bad_request", "not a command"));
    }
    connection->startPushing();
    // A client that is gone by then is told nothing; its command is carried out all the same.
    commands.submit(*std::move(command), [client = std::weak_ptr(connection)](const CommandReply& reply) {
        if (const auto there = client.lock())
            there->pushEvent(commandEvent(reply));
    });
}

std::optional<std::string> TarnelDaemon::observe(
    const std::shared_ptr<Connection>& connection, const JSON& id, const JSON::Object& members)
{
    const Params params(members);
    return PaneObservation::run({id, params.requiredString("pane"), params.integer("cols"), params.integer("rows")},
        engine.muxle(), engine.machine(), processEnvironment(), *connection->channel());
}

std::string TarnelDaemon::result(const std::string& name, const JSON::Object& members)
{
    const Method* method = MethodTable::find(name); // `answer` has seen that there is one
    const Params params(members);
    if (method->isTraced) {
        const std::string target = params.string("pane").value_or(params.string("method").value_or(""));
        world.log.trace(world.clock.now(), "request " + name + " " + target);
    }
    return method->handle(services, params);
}

} // namespace tarnel
