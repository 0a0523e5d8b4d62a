// TarnelCore/Records/LiveReply.h: the reply that an agent is writing, read from its screen.
#pragma once
#include "TarnelCore/Muxle/MuxleModels.h"
#include "TarnelCore/Records/Transcript.h"
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// A record holds a reply only once it is complete, while the screen shows it as it is written.
/// Pure functions over UTF-8 text; thread-safe. Lines are views into the text that they come from, without line feeds.
namespace LiveReply {

using Lines = std::vector<std::string_view>;
/// The lines of a reply, without the indentation that the screen gives them.
using Reply = std::optional<std::vector<std::string>>;

/// The reply on `screen`, trimmed; nothing when the agent shows none, writes none that we can read (only Claude's and
/// Codex's are), or when `transcript`, which may be null, holds it already.
std::optional<std::string> read(std::string_view screen, AgentKind kind, const Transcript* transcript);

/// The reply above Claude's input box; nothing when a menu stands in the box's place or the latest block is a tool
/// step.
Reply claude(const Lines& lines);

/// The reply above Codex's prompt; nothing when the latest block is a tool step.
Reply codex(const Lines& lines);

/// Without the lines at the end that are blank or indented by 20 spaces and more.
Lines trimmedEnd(Lines lines);

/// Whether the first line of a Claude block, without its bullet, heads a tool step: "Bash(npm test)", "Done · 12s".
bool isClaudeStep(std::string_view line);

/// Whether an assistant entry since the user's last one starts as `text` does, or `text` as it, by letters and digits.
bool recorded(std::string_view text, const Transcript* transcript);

} // namespace LiveReply

/// Paces text that is shown while it grows. Pure functions; thread-safe. Counts are characters.
namespace StreamReveal {

/// How long to wait between two steps.
constexpr std::chrono::milliseconds tick{30};

/// How many characters of `text` to show after `shown` of them: at least ten more or an eighth of what is left, up to
/// the end of a word.
std::size_t next(std::size_t shown, std::string_view text);

/// Whether `current` extends `previous`, by letters and digits; never for a `previous` without any.
bool continues(std::string_view previous, std::string_view current);

} // namespace StreamReveal

} // namespace tarnel
