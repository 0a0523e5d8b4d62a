#include "Simulation/Client.h"
#include <algorithm>

namespace tarnel::sim {

namespace {

using namespace std::chrono_literals;

const std::string machine = "studio";
const std::string subscription = R"({"id":1,"method":"subscribe"})";
constexpr std::size_t settledKept = 8;

std::string commandLine(const Command& command)
{
    return JSON::object({{"id", 1}, {"method", "command"}, {"params", jsonValue(command)}}).serialized();
}

} // namespace

Client::Client(std::string title, Scheduler& clock, Random& source, Ledger& notes, AgentWorld& panes,
    std::function<SimulatedDaemon*()> there)
    : name(std::move(title))
    , scheduler(clock)
    , random(source)
    , ledger(notes)
    , world(panes)
    , daemon(std::move(there))
{
}

void Client::begin()
{
    scheduler.start(Scheduler::Group::world, name, [this] { stayConnected(); });
    scheduler.start(Scheduler::Group::world, "user of " + name, [this] { act(); });
}

std::string Client::nextID(const char* kind) { return name + "-" + kind + std::to_string(++counter); }

void Client::stayConnected()
{
    for (;;) {
        SimulatedDaemon* const there = daemon();
        if (!there) {
            scheduler.sleep(200ms);
            continue;
        }
        link = there->connect();
        shown = 0;
        traffic.clear();
        link->send(subscription);
        for (const Command& command : outbox.unfinished(machine))
            send(command);
        while (const auto line = link->receive()) {
            receive(JSON::parse(*line));
            if (random.oneIn(10))
                scheduler.sleep(random.between(0ms, !isResting && random.oneIn(10) ? 14s : 300ms)); // a slow reader
        }
        link->close();
        scheduler.sleep(random.between(0ms, 1s));
    }
}

void Client::receive(const JSON& line)
{
    if (const JSON* pushed = line["snapshot"]) {
        snapshot = decode<MachineSnapshot>(*pushed);
        const std::int64_t version = versionOf(*snapshot);
        if (version < shown)
            ledger.violation(name + " is sent version " + std::to_string(version) + " after " + std::to_string(shown));
        shown = version;
        ++ledger.counts["snapshots"];
    } else if (const JSON* reply = line["reply"]) {
        receiveReply(decode<CommandReply>(*reply), integerOf(line["published"]).value_or(0));
    }
}

void Client::receiveReply(const CommandReply& reply, std::int64_t published)
{
    ledger.trace("is told ", encoded(reply));
    if (shown < published)
        ledger.violation(name + " is sent the reply to " + reply.id + " before the snapshot that shows its effect");
    const auto entry = outbox.record(reply);
    Traffic& counted = traffic[reply.id];
    counted.isHeld = !reply.isFinal();
    if (counted.isHeld)
        return;
    if (++counted.finals > counted.submissions)
        ledger.violation(name + " is sent a reply to " + reply.id + " twice");
    if (!entry)
        return;
    settled.push_back(entry->command);
    if (settled.size() > settledKept)
        settled.pop_front();
    tryAgain(reply, entry->command);
}

std::string Client::missing() const
{
    if (!link || !link->isOpen())
        return name + " has no connection";
    for (const auto& [id, counted] : traffic) {
        // What is held for a pane that is gone stays so.
        if (counted.finals < counted.submissions && (!counted.isHeld || world.has(*counted.pane)))
            return name + " has no reply to " + id + " for each time it was sent";
    }
    for (const Command& command : outbox.unfinished(machine)) {
        if (const auto sent = traffic.find(command.id); sent == traffic.end() || !sent->second.isHeld)
            return name + " has no final reply to " + command.id;
    }
    return shown < world.version() ? name + " was not sent the last snapshot" : "";
}

void Client::send(const Command& command)
{
    if (!link || !link->isOpen())
        return;
    Traffic& counted = traffic[command.id];
    ++counted.submissions;
    counted.pane = paneOf(command.action);
    link->send(commandLine(command));
}

void Client::submit(CommandAction action)
{
    const char* const kind = std::holds_alternative<AnswerAction>(action) ? "answer"
        : std::holds_alternative<PromptAction>(action)                    ? "prompt"
                                                                          : "command";
    Command command{.id = nextID(kind), .action = std::move(action)};
    outbox.add(command, machine);
    send(command);
}

// --- The user

void Client::act()
{
    while (!isResting) {
        scheduler.sleep(random.between(20ms, random.oneIn(5) ? 4s : 700ms));
        if (snapshot && !isResting)
            actOnce();
    }
}

void Client::actOnce()
{
    const std::string pane = random.of(world.agentPanes());
    switch (random.below(24)) {
    case 0:
    case 1:
    case 2:
    case 3:
    case 4:
        return prompt();
    case 5: {
        const auto& entries = outbox.entries();
        const auto held = std::ranges::find(entries, CommandReply::Status::held, &Outbox::Entry::status);
        if (held != entries.end())
            submit(SendNowAction{held->command.id});
        return;
    }
    case 6:
        return submit(InputAction{.pane = pane, .text = std::nullopt, .keys = {random.oneIn(2) ? "1" : "enter"}});
    case 7:
    case 8:
        return submit(MuxleAction{"workspace.rename", {{"label", nextID("label")}}});
    case 9:
        if (link && random.oneIn(2))
            link->send(subscription); // which sends the present snapshot once more
        else if (random.oneIn(2))
            submit(MuxleAction{"pane.close", {{"pane_id", pane}}});
        return;
    case 10: // what is settled or under way, once more
        if (!settled.empty() && random.oneIn(2))
            send(settled[random.below(settled.size())]);
        else if (!outbox.entries().empty())
            send(outbox.entries()[random.below(outbox.entries().size())].command);
        return;
    case 11:
        if (link && random.oneIn(2))
            link->close();
        return;
    default:
        return answer();
    }
}

void Client::prompt()
{
    const std::string pane = random.of(world.agentPanes());
    const std::string mark = "P" + std::to_string(ledger.tick()) + ".";
    PromptAction action{.pane = pane, .text = mark + " Go on"};
    if (random.oneIn(4))
        action.mode = SendMode::steerNow;
    if (random.oneIn(5))
        action.typed = "";
    submit(std::move(action));
}

void Client::answer()
{
    if (!snapshot->queue.empty())
        answerItem(random.of(snapshot->queue));
}

void Client::answerItem(const AttentionItem& item)
{
    AnswerRequest request{.fingerprint = item.fingerprint};
    if (!item.choices.empty() && !random.oneIn(6))
        request.choice = random.of(item.choices);
    if (!request.choice || random.oneIn(12) || request.choice == "Type something.")
        request.text = "my words";
    if (!random.oneIn(4))
        request.idempotencyKey = nextID("key");
    const Period* const period = ledger.meant(item, encoded(item));
    ledger.trace("answers ", encoded(request), period ? " meaning question " + std::to_string(period->number) : "");
    const std::size_t times = random.oneIn(6) ? 2 : 1; // a double click, or two devices
    for (std::size_t i = 0; i < times; ++i) {
        if (random.oneIn(3)) {
            const std::string id = nextID("request");
            ledger.means(id, period);
            if (SimulatedDaemon* const there = daemon())
                there->answer(id, request);
        } else {
            ledger.means(name + "-answer" + std::to_string(counter + 1), period);
            submit(AnswerAction{.request = request, .images = {}});
        }
    }
}

/// The same answer under the same key, as a command of its own: after a failure, or though it went in.
void Client::tryAgain(const CommandReply& reply, const Command& command)
{
    const auto* const action = std::get_if<AnswerAction>(&command.action);
    if (!action || isResting || reply.status != CommandReply::Status::done || !random.oneIn(4))
        return;
    ledger.means(name + "-answer" + std::to_string(counter + 1), ledger.intention(command.id));
    submit(*action);
}

} // namespace tarnel::sim
