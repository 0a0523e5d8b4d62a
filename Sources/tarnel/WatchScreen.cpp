#include "tarnel/WatchScreen.h"
#include "TarnelCore/Base/TerminalText.h"
#include "tarnel/Paint.h"
#include "tarnel/QueueTable.h"
#include <algorithm>
#include <fmt/format.h>

namespace tarnel {

namespace {

/// "studio-mini   3 wait for you, 2 are at work"
std::string heading(const MachineSnapshot& snapshot, std::size_t columns, bool hasColor)
{
    const auto working = std::count_if(snapshot.agents.begin(), snapshot.agents.end(),
        [](const MuxleAgent& agent) { return agent.isAgent() && agent.status == AgentStatus::working; });
    const std::string machine = TerminalText::cut(TerminalText::plainLine(snapshot.machine), columns);
    const std::size_t waiting = snapshot.queue.size();
    const std::string counts = fmt::format("   {} {} for you, {} {} at work", waiting, waiting == 1 ? "waits" : "wait",
        working, working == 1 ? "is" : "are");
    return painted(machine, Paint::bold, hasColor)
        + painted(
            TerminalText::cut(counts, columns - std::min(columns, TerminalText::width(machine))), Paint::dim, hasColor);
}

std::string footer(const LiveQueue::View& view, const std::string& socketPath, std::size_t columns, bool hasColor)
{
    if (view.isConnected)
        return painted(TerminalText::cut("q or ctrl+c ends", columns), Paint::dim, hasColor);
    const std::string text = "The daemon at " + TerminalText::plainLine(socketPath) + " has gone; trying again ...";
    return painted(TerminalText::cut(text, columns), Paint::red, hasColor);
}

} // namespace

std::vector<std::string> watchScreen(
    const LiveQueue::View& view, const std::string& socketPath, Timestamp now, const ScreenSize& size, bool hasColor)
{
    std::vector<std::string> lines;
    if (!view.snapshot) {
        lines.push_back(TerminalText::cut("Waiting for the daemon's first look at the agents ...", size.columns));
    } else {
        lines.push_back(heading(*view.snapshot, size.columns, hasColor));
        lines.emplace_back();
        if (view.snapshot->queue.empty()) {
            lines.push_back(TerminalText::cut(QueueTable::nothingWaits, size.columns));
        } else {
            const auto table = QueueTable::lines(
                QueueTable::rows(view.snapshot->queue), now, {.width = size.columns, .hasColor = hasColor});
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
    lines.push_back(footer(view, socketPath, size.columns, hasColor));
    lines.resize(std::min(lines.size(), size.rows));
    return lines;
}

} // namespace tarnel
