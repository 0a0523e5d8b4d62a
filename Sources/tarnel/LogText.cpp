#include "tarnel/LogText.h"
#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Records/ToolSummary.h"
#include "tarnel/Wrap.h"
#include <algorithm>
#include <array>
#include <ctime>
#include <tuple>

namespace tarnel {

namespace {

using Entries = LogText::Entries;
using Lines = std::vector<std::string>;

constexpr std::size_t foldedLines = 3; // of one run of tool steps

struct Voice {
    std::string_view name;
    Paint paint;
};

Voice voiceOf(EntryRole role)
{
    switch (role) {
    case EntryRole::user:
        return {"You", Paint::blue};
    case EntryRole::assistant:
    case EntryRole::tool: // what the agent does is part of what it says
        return {"Agent", Paint::green};
    case EntryRole::system:
        break;
    }
    return {"System", Paint::dim};
}

std::string localTime(Timestamp time)
{
    const std::time_t seconds = std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
    std::tm parts{};
    std::array<char, 32> text{};
    if (!::localtime_r(&seconds, &parts))
        return {};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M", &parts)};
}

void appendWrapped(Lines& lines, std::string_view label, std::string_view text, Paint paint, const Style& style)
{
    for (std::string& line : labelled(label, text, style.width))
        lines.push_back(style.painted(line, paint));
}

/// The run of tool steps that begins at `first`; returns its end.
Entries::const_iterator appendSteps(Lines& lines, Entries::const_iterator first, Entries::const_iterator end,
    LogText::ToolSteps toolSteps, const Style& style)
{
    const auto last =
        std::find_if(first, end, [](const Shared<TranscriptEntry>& entry) { return entry->role != EntryRole::tool; });
    const Entries run(first, last);
    if (toolSteps == LogText::ToolSteps::folded) {
        for (const std::string& title : ToolSummary::fold(run, foldedLines))
            appendWrapped(lines, "  · ", title, Paint::dim, style);
    }
    for (const auto& step : run) {
        if (toolSteps == LogText::ToolSteps::oneLine)
            appendWrapped(
                lines, "  · ", TerminalText::plainLine(step->text), step->isError ? Paint::red : Paint::dim, style);
    }
    return last;
}

auto identity(const TranscriptEntry& entry)
{
    return std::tie(entry.role, entry.timestamp, entry.toolName, entry.text);
}

} // namespace

LogText::ToolSteps LogText::toolSteps(std::string_view setting)
{
    if (setting == "one-line")
        return ToolSteps::oneLine;
    return setting == "hidden" ? ToolSteps::hidden : ToolSteps::folded;
}

Lines LogText::lines(const Entries& entries, ToolSteps toolSteps, const Style& style, std::string& speaker)
{
    Lines lines;
    for (auto entry = entries.begin(); entry != entries.end();) {
        const TranscriptEntry& shown = **entry;
        Lines said;
        if (shown.role == EntryRole::tool) {
            entry = appendSteps(said, entry, entries.end(), toolSteps, style);
        } else {
            appendWrapped(said, "  ", shown.text, shown.isError ? Paint::red : Paint::none, style);
            ++entry;
        }
        if (said.empty())
            continue;
        const Voice voice = voiceOf(shown.role);
        if (speaker != voice.name) {
            if (!speaker.empty())
                lines.emplace_back();
            speaker = voice.name;
            const std::string time = shown.timestamp ? "  " + localTime(*shown.timestamp) : "";
            lines.push_back(style.painted(voice.name, voice.paint) + style.painted(time, Paint::dim));
        }
        lines.insert(lines.end(), said.begin(), said.end());
    }
    return lines;
}

Lines LogText::liveReply(const std::string& text, const Style& style)
{
    Lines lines;
    appendWrapped(lines, "  … ", text, Paint::dim, style);
    return lines;
}

Entries LogText::added(const Entries& before, const Entries& now)
{
    const auto isSame = [](const Shared<TranscriptEntry>& a, const Shared<TranscriptEntry>& b) {
        return identity(*a) == identity(*b);
    };
    // The longest end of `before` with which `now` begins.
    for (std::size_t gone = 0; gone < before.size(); ++gone) {
        const auto rest = before.begin() + static_cast<std::ptrdiff_t>(gone);
        const std::size_t kept = before.size() - gone;
        if (kept <= now.size() && std::equal(rest, before.end(), now.begin(), isSame))
            return {now.begin() + static_cast<std::ptrdiff_t>(kept), now.end()};
    }
    return now;
}

} // namespace tarnel
