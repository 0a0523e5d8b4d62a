#include "TarnelCore/Daemon/MethodTable.h"
#include "TarnelCore/Daemon/Methods.h"
#include <algorithm>
#include <array>

namespace tarnel::MethodTable {

namespace {

constexpr std::array table{
    Method{"ping", Methods::ping},
    Method{"snapshot", Methods::snapshot},
    Method{"queue", Methods::queue},
    Method{"next", Methods::next},
    Method{"card", Methods::card},
    Method{"conversation", Methods::conversation},
    Method{"commands", Methods::commands},
    Method{"screen", Methods::screen},
    Method{"answer", Methods::answer, true},
    Method{"prompt", Methods::prompt, true},
    Method{"attach", Methods::attach, true},
    Method{"run_command", Methods::runCommand, true},
    Method{"agent_prompt", Methods::agentPrompt},
    Method{"input", Methods::input, true},
    Method{"keys", Methods::keys, true},
    Method{"focus", Methods::focus, true},
    Method{"search", Methods::search},
    Method{"muxle", Methods::muxle, true},
};

} // namespace

const Method* find(std::string_view name)
{
    const auto found = std::find_if(table.begin(), table.end(), [&](const Method& method) { return method.name == name; });
    return found == table.end() ? nullptr : &*found;
}

MuxleAgent agentIn(const MuxleClient& muxle, const std::string& pane)
{
    for (MuxleAgent& agent : muxle.agents()) {
        if (agent.paneID == pane)
            return std::move(agent);
    }
    throw DaemonError::notFound(pane);
}

} // namespace tarnel::MethodTable
