// TarnelCore/Attention/AgentPrompt.h: the prompt that stands unsent in an agent's input box.
#pragma once
#include "TarnelCore/Muxle/MuxleModels.h"
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Pure functions over a screen read with its ANSI codes, in time linear in it. Thread-safe.
namespace tarnel::AgentPrompt {

/// One line of the screen, its control sequences removed.
struct Line {
    std::string plain; ///< All that is to be seen.
    std::string typed; ///< Without what is faint: agents draw hints and suggestions so, and never what the user typed.
    bool operator==(const Line&) const = default;
};

/// The text that the user typed and did not send; empty for an empty box. Nothing when the screen shows no input box,
/// or for agents other than Claude and Codex.
std::optional<std::string> read(std::string_view screen, AgentKind kind);

/// Whether `typed`, as `read` gives it, is `text`, blank ends of lines and empty last lines aside.
bool shows(std::string_view text, std::string_view typed);

/// What to type so that `current` in the input box becomes `desired`: a DEL for each character (grapheme cluster)
/// behind what both start with, then the rest.
std::string keystrokes(std::string_view current, std::string_view desired, AgentKind kind);

/// Reads one line, without its line feed. The control sequences: ECMA-48 and, for those that carry text, xterm's.
Line visible(std::string_view line);

/// Whether the line is one of the rules that frame Claude's input box.
bool isRule(std::string_view text);

/// How many spaces `text` starts with.
std::size_t leadingSpaces(std::string_view text);

/// The lines as one text, without the spaces and no-break spaces at their ends and without empty lines at the end.
std::string clean(std::vector<std::string_view> lines);

} // namespace tarnel::AgentPrompt
