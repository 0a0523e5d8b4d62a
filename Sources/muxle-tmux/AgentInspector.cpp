#include "muxle-tmux/AgentInspector.h"
#include "TarnelCore/Base/Files.h"
#include "muxle-tmux/AgentCommand.h"
#include "muxle-tmux/ProcessTable.h"
#include <algorithm>
#include <array>
#include <string_view>

namespace tarnel::tmux {

namespace {

using namespace std::chrono_literals;

/// A shell that waits for its user runs nothing else in its group.
bool isInteractiveShell(const std::vector<std::string>& words)
{
    constexpr std::array<std::string_view, 8> shells{"sh", "bash", "zsh", "fish", "dash", "ksh", "tcsh", "nu"};
    if (words.empty())
        return false;
    std::string name = Files::lastComponent(words.front());
    if (name.starts_with('-'))
        name.erase(0, 1);
    const bool hasScript =
        std::any_of(words.begin() + 1, words.end(), [](const std::string& word) { return !word.starts_with('-'); });
    return !hasScript && std::find(shells.begin(), shells.end(), name) != shells.end();
}

} // namespace

Foreground AgentInspector::inspect(std::int64_t process, Clock::Instant now)
{
    Foreground found;
    const auto shell = ProcessTable::info(process);
    if (!shell)
        return found;
    found.cwd = ProcessTable::workingDirectory(process).value_or("");
    const auto take = [&](std::int64_t candidate) {
        const auto info = ProcessTable::info(candidate);
        auto words = ProcessTable::arguments(candidate);
        auto agent = AgentCommand::agent(words);
        const bool isLeader = found.process == 0;
        if (!isLeader && !agent)
            return false;
        found.process = candidate;
        found.agent = std::move(agent);
        found.arguments = std::move(words);
        found.started = info ? info->started : Timestamp();
        if (auto cwd = ProcessTable::workingDirectory(candidate))
            found.foregroundCwd = std::move(cwd);
        return found.agent.has_value();
    };
    const std::int64_t leader = shell->foregroundGroup > 0 ? shell->foregroundGroup : process;
    if (take(leader))
        return found;
    found.isShell = isInteractiveShell(found.arguments);
    if (found.isShell || (lastSearch && now - *lastSearch < 1s))
        return found;
    lastSearch = now;
    const auto members = ProcessTable::members(leader);
    std::find_if(members.begin(), members.end(), take);
    return found;
}

} // namespace tarnel::tmux
