// tarnel/LogText.h: a conversation as text for people.
#pragma once
#include "TarnelCore/Records/Transcript.h"
#include "tarnel/Output.h"
#include <string>
#include <string_view>
#include <vector>

/// Pure but for the time zone; the lines are safe for a terminal.
namespace tarnel::LogText {

using Entries = std::vector<Shared<TranscriptEntry>>;

/// How tool steps are shown: runs of them in a few lines, each on its own, or not at all.
enum class ToolSteps { folded, oneLine, hidden };
/// The value of the setting "conversation.tool_calls".
ToolSteps toolSteps(std::string_view setting);

/// The entries under the names of those who speak. `speaker` is the name of the one who spoke last in what was printed
/// before, empty when nothing was; it is updated.
std::vector<std::string> lines(const Entries& entries, ToolSteps toolSteps, const Style& style, std::string& speaker);

/// The reply that the agent is writing.
std::vector<std::string> liveReply(const std::string& text, const Style& style);

/// Of `now`, the entries that come after those of `before`, when both are the last entries of the same conversation at
/// two moments; all of them when the two have nothing in common. An entry stays the same when only its error mark or
/// its details change.
Entries added(const Entries& before, const Entries& now);

} // namespace tarnel::LogText
