#include "muxle-tmux/PaneReading.h"
#include "TarnelCore/Base/Text.h"
#include "muxle-tmux/Names.h"
#include "muxle-tmux/StyledLines.h"
#include <algorithm>

namespace tarnel::tmux {

namespace {

/// Whether a line shows nothing: spaces, tabs and SGR sequences.
bool isBlank(std::string_view line)
{
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '\033' && i + 1 < line.size() && line[i + 1] == '[') {
            i = std::min(line.find('m', i), line.size());
            continue;
        }
        if (line[i] != ' ' && line[i] != '\t')
            return false;
    }
    return true;
}

std::vector<std::string_view> linesOf(std::string_view text)
{
    auto lines = Text::split(text, '\n');
    while (!lines.empty() && isBlank(lines.back()))
        lines.pop_back();
    for (std::string_view& line : lines) { // joined lines come with the spaces that fill them up
        const std::size_t last = line.find_last_not_of(' ');
        line = line.substr(0, last == line.npos ? 0 : last + 1);
    }
    return lines;
}

} // namespace

std::string PaneReading::lastLines(std::string_view text, std::optional<std::int64_t> lines)
{
    auto all = linesOf(text);
    const auto wanted = lines ? static_cast<std::size_t>(std::max<std::int64_t>(*lines, 0)) : all.size();
    if (all.size() > wanted)
        all.erase(all.begin(), all.end() - static_cast<std::ptrdiff_t>(wanted));
    return Text::joined(all, "\n");
}

std::string PaneReading::read(
    Monitor& monitor, const PaneModel& pane, const Request& request, Monitor::Deadline deadline)
{
    const std::string command = std::string("capture-pane -p ") + (request.withColors ? "-e " : "")
        + (request.source == Request::Source::visible ? "" : "-J ") + "-t " + paneTarget(pane.number);
    const auto finished = [&](const std::string& text) {
        return Text::repaired(lastLines(request.withColors ? withOwnStyles(text) : text, request.lines));
    };
    // What stands above an alternate screen belongs to the program before it.
    if (request.source != Request::Source::recentUnwrapped || pane.isAlternate)
        return finished(monitor.run(command, deadline));

    std::int64_t above = request.lines.value_or(usualHistory);
    for (;;) {
        const std::string text = monitor.run(command + " -S -" + std::to_string(above), deadline);
        const auto found = static_cast<std::int64_t>(linesOf(text).size());
        // One more than is wanted: the first may be the end of a longer one.
        if (!request.lines || found > *request.lines || above >= pane.history)
            return finished(text);
        above = std::min(above * 4, pane.history);
    }
}

} // namespace tarnel::tmux
