#include "tarnel/PanePlace.h"
#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <utility>

namespace tarnel {

namespace {

/// What stands before and behind the first slash, if both are there.
std::pair<std::string, std::string> splitMachine(const std::string& text)
{
    const std::size_t slash = text.find('/');
    if (slash == text.npos || slash == 0 || slash + 1 == text.size())
        return {"", text};
    return {text.substr(0, slash), text.substr(slash + 1)};
}

std::string machineOf(const Daemon& daemon, DaemonClient::Seconds timeout)
{
    return stringOf(daemon.call("ping", {}, timeout)["machine"]).value_or("");
}

std::optional<MachineSnapshot> snapshotIn(const JSON& result)
{
    try {
        return decode<MachineSnapshot>(result);
    } catch (const DecodingError&) { // there may be none yet
        return std::nullopt;
    }
}

PanePlace findAmong(const std::vector<Daemon>& daemons, const std::string& text, DaemonClient::Seconds timeout)
{
    const auto [machine, pane] = splitMachine(text);
    ExitStatus ignored = ExitStatus::success;
    std::vector<PanePlace> found;
    std::vector<std::string> names;
    std::vector<std::string> agents;
    for (const Answer& answer : answersOf(daemons, "snapshot", {}, timeout, ignored)) {
        const auto snapshot = snapshotIn(answer.result);
        if (!snapshot)
            continue;
        if (const std::string listed = agentsIn(*snapshot); !listed.empty())
            agents.push_back("on " + snapshot->machine + " " + listed);
        const bool isMeant = !machine.empty() && (machine == snapshot->machine || machine == answer.daemon->host);
        const std::string& wanted = isMeant ? pane : text;
        if (!hasPane(*snapshot, wanted))
            continue;
        found.push_back({*answer.daemon, wanted});
        names.push_back(snapshot->machine + "/" + wanted);
    }
    if (found.empty())
        throw noSuchPane(text, Text::joined(agents, "; "));
    if (found.size() > 1)
        throw CommandError(
            ExitStatus::usage, "several machines have a pane " + text + "; name one of " + Text::joined(names, ", "));
    return std::move(found.front());
}

} // namespace

PanePlace PanePlace::find(const std::vector<Daemon>& daemons, const std::string& text, DaemonClient::Seconds timeout)
{
    if (daemons.size() > 1)
        return findAmong(daemons, text, timeout);
    const Daemon& only = daemons.front();
    const auto [machine, pane] = splitMachine(text);
    const bool isMeant = !machine.empty() && (machine == only.host || machine == machineOf(only, timeout));
    return {only, isMeant ? pane : text};
}

JSON PanePlace::call(std::string_view method, JSON::Object params, DaemonClient::Seconds timeout) const
{
    params["pane"] = pane;
    try {
        return daemon.call(method, params, timeout);
    } catch (const CommandError& error) {
        if (error.status != ExitStatus::failure)
            throw;
        const auto snapshot = snapshotIn(daemon.call("snapshot", {}, timeout));
        if (!snapshot || hasPane(*snapshot, pane))
            throw;
        throw noSuchPane(pane, agentsIn(*snapshot));
    }
}

CommandError noSuchPane(const std::string& text, const std::string& agents)
{
    return {ExitStatus::failure,
        "there is no pane " + text + (agents.empty() ? " and no agent at all" : "; there are " + agents)};
}

bool hasPane(const MachineSnapshot& snapshot, std::string_view pane)
{
    return std::any_of(
        snapshot.agents.begin(), snapshot.agents.end(), [&](const MuxleAgent& agent) { return agent.paneID == pane; });
}

std::string agentsIn(const MachineSnapshot& snapshot)
{
    std::vector<std::string> names;
    for (const MuxleAgent& agent : snapshot.agents) {
        if (agent.isAgent())
            names.push_back(TerminalText::plainLine(agent.paneID + " (" + agent.agent + ", " + agent.title() + ")"));
    }
    return Text::joined(names, ", ");
}

} // namespace tarnel
