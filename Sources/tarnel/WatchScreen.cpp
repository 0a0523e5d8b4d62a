#include "tarnel/WatchScreen.h"
#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include "tarnel/Paint.h"
#include "tarnel/QueueTable.h"
#include <algorithm>
#include <fmt/format.h>

namespace tarnel {

namespace {

/// "studio-mini   3 wait for you, 2 are at work"
std::string heading(const LiveQueue::View& view, std::size_t waiting, std::size_t columns, bool hasColor)
{
    std::vector<std::string> names;
    std::ptrdiff_t working = 0;
    for (const LiveQueue::Machine& machine : view.machines) {
        if (!machine.snapshot)
            continue;
        names.push_back(TerminalText::plainLine(machine.snapshot->machine));
        working += std::count_if(machine.snapshot->agents.begin(), machine.snapshot->agents.end(),
            [](const MuxleAgent& agent) { return agent.isAgent() && agent.status == AgentStatus::working; });
    }
    const std::string machines = TerminalText::cut(Text::joined(names, ", "), columns);
    const std::string counts = fmt::format("   {} {} for you, {} {} at work", waiting, waiting == 1 ? "waits" : "wait",
        working, working == 1 ? "is" : "are");
    return painted(machines, Paint::bold, hasColor)
        + painted(TerminalText::cut(counts, columns - std::min(columns, TerminalText::width(machines))), Paint::dim,
            hasColor);
}

std::string footer(const LiveQueue::View& view, std::size_t columns, bool hasColor)
{
    const std::string lost = lostDaemons(view);
    if (lost.empty())
        return painted(TerminalText::cut("q or ctrl+c ends", columns), Paint::dim, hasColor);
    return painted(TerminalText::cut(lost, columns), Paint::red, hasColor);
}

} // namespace

std::string lostDaemons(const LiveQueue::View& view)
{
    std::vector<std::string> lost;
    for (const LiveQueue::Machine& machine : view.machines) {
        if (!machine.isConnected && (machine.failure || machine.snapshot))
            lost.push_back(TerminalText::plainLine(machine.label));
    }
    if (lost.empty())
        return {};
    return (lost.size() == 1 ? "The daemon at " + lost.front() + " has"
                             : "The daemons at " + Text::joined(lost, ", ") + " have")
        + " gone; trying again ...";
}

std::vector<std::string> watchScreen(const LiveQueue::View& view, Timestamp now, const ScreenSize& size, bool hasColor)
{
    std::vector<std::string> lines;
    if (!view.hasSnapshot()) {
        lines.push_back(TerminalText::cut("Waiting for the daemon's first look at the agents ...", size.columns));
    } else {
        const std::vector<AttentionItem> queue = view.queue();
        lines.push_back(heading(view, queue.size(), size.columns, hasColor));
        lines.emplace_back();
        if (queue.empty()) {
            lines.push_back(TerminalText::cut(QueueTable::nothingWaits, size.columns));
        } else {
            const auto table = QueueTable::lines(
                QueueTable::rows(queue, view.machines.size() > 1), now, {.width = size.columns, .hasColor = hasColor});
            lines.insert(lines.end(), table.begin(), table.end());
        }
    }
    constexpr std::size_t below = 2; // an empty line and the footer
    const std::size_t room = std::max<std::size_t>(size.rows, below + 1) - below;
    if (lines.size() > room) {
        const std::size_t hidden = lines.size() - room + 1;
        lines.resize(room - 1);
        lines.push_back(
            painted(TerminalText::cut(fmt::format("… and {} more", hidden), size.columns), Paint::dim, hasColor));
    }
    lines.emplace_back();
    lines.push_back(footer(view, size.columns, hasColor));
    lines.resize(std::min(lines.size(), size.rows));
    return lines;
}

} // namespace tarnel
