#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Config/SettingsSchema.h"
#include "tarnel/CardText.h"
#include "tarnel/Completion.h"
#include "tarnel/ItemID.h"
#include "tarnel/Output.h"
#include "tarnel/PaneItem.h"
#include "tarnel/QueueTable.h"
#include <array>
#include <exception>

namespace tarnel {

namespace {

using Completion::Candidate;
using Completion::Context;
using Candidates = std::vector<Candidate>;

constexpr DaemonClient::Seconds patience{2}; // someone waits behind the tab key
constexpr std::array methods{"agent_prompt", "answer", "attach", "card", "commands", "conversation", "focus", "input",
    "keys", "muxle", "next", "ping", "prompt", "queue", "run_command", "screen", "search", "snapshot"};

std::vector<Daemon> daemonsIn(const Context& context)
{
    CommandLine line;
    line.socket = context.socket;
    line.hosts = context.hosts;
    return daemonsOf(line);
}

/// The snapshots of the daemons that answer.
std::vector<MachineSnapshot> snapshotsIn(const Context& context)
{
    const std::vector<Daemon> daemons = daemonsIn(context);
    std::vector<MachineSnapshot> snapshots;
    for (const CallOutcome& outcome : callAll(daemons, "snapshot", {}, patience)) {
        if (const JSON* result = std::get_if<JSON>(&outcome); result && !result->isNull())
            snapshots.push_back(decode<MachineSnapshot>(*result));
    }
    return snapshots;
}

Candidates panes(const Context& context)
{
    Candidates all;
    for (const MachineSnapshot& snapshot : snapshotsIn(context)) {
        const std::string machine = context.hosts.size() > 1 ? snapshot.machine + "/" : "";
        for (const MuxleAgent& agent : snapshot.agents) {
            if (agent.isAgent())
                all.push_back({machine + agent.paneID,
                    agent.agent + ", " + std::string(nameOf(agent.status)) + ": " + agent.title()});
        }
    }
    return all;
}

Candidates items(const Context& context)
{
    Candidates all;
    for (const MachineSnapshot& snapshot : snapshotsIn(context)) {
        for (const QueueRow& row : QueueTable::rows(snapshot.queue))
            all.push_back({snapshot.queue[all.size()].id(), std::string(title(row.kind)) + ": " + row.asked});
    }
    return all;
}

/// The choices of the item or pane that is to be answered.
Candidates choices(const Context& context)
{
    if (context.positionals.empty())
        return {};
    const std::string& target = context.positionals.front();
    const auto fingerprint = ItemID::parse(target);
    const auto place = PanePlace::find(daemonsIn(context), fingerprint ? fingerprint->paneID : target, patience);
    const PaneItem current = PaneItem::ask(place, patience);
    Candidates all;
    if (current.item && (!fingerprint || current.item->fingerprint == *fingerprint)) {
        for (const std::string& choice : CardText::choices(*current.item, {}))
            all.push_back({choice, ""});
    }
    return all;
}

Candidates keys()
{
    Candidates all;
    for (const SettingSpec& spec : SettingsSchema::all())
        all.push_back({std::string(spec.key), std::string(spec.title)});
    return all;
}

/// The values that a setting's kind names.
Candidates settingValues(const Context& context)
{
    const SettingSpec* spec = context.positionals.empty() ? nullptr : SettingsSchema::spec(context.positionals.front());
    if (!spec)
        return {};
    if (std::holds_alternative<SettingSpec::Toggle>(spec->kind))
        return {{"true", ""}, {"false", ""}};
    Candidates all;
    if (const auto* choice = std::get_if<SettingSpec::Choice>(&spec->kind)) {
        for (const std::string_view each : choice->choices)
            all.push_back({std::string(each), ""});
    }
    return all;
}

Candidates valuesOf(std::string_view kind, const Context& context)
{
    if (kind == "PANE")
        return panes(context);
    if (kind == "ITEM")
        return items(context);
    if (kind == "CHOICE")
        return choices(context);
    if (kind == "KEY")
        return keys();
    if (kind == "VALUE")
        return settingValues(context);
    if (kind == "HOST")
        return {{"local", "this machine"}};
    Candidates all;
    if (kind == "METHOD") {
        for (const char* method : methods)
            all.push_back({method, ""});
    }
    return all;
}

} // namespace

void Completion::printCandidates(const CLI::App& app, const std::vector<std::string>& words)
{
    const auto quietly = [](std::string_view kind, const Context& context) {
        try {
            return valuesOf(kind, context);
        } catch (const std::exception&) {
            return Candidates(); // nothing may be printed into the line that is being typed
        }
    };
    std::vector<std::string> lines;
    for (const Candidate& each : candidates(app, words, quietly)) {
        const std::string help = TerminalText::cut(TerminalText::plainLine(each.help), 60);
        lines.push_back(TerminalText::plainLine(each.text) + (help.empty() ? "" : "\t" + help));
    }
    Output::print(lines);
}

} // namespace tarnel
