// TarnelCore/Records/SlashCommands.h: the commands that an agent takes at its prompt, for completion.
#pragma once
#include "TarnelCore/JSON/Record.h"
#include "TarnelCore/Muxle/MuxleModels.h"
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// A command that begins with "/"; its name tells it from all others.
struct SlashCommand {
    std::string name; ///< As typed: "/review", "/frontend:test", "/prompts:fix".
    std::string description; ///< One line, at most 160 characters; may be empty.
    std::string source; ///< "built-in", "project", "user" or "skill".

    bool operator==(const SlashCommand&) const = default;
    static constexpr auto fields()
    {
        using T = SlashCommand;
        return std::tuple{Field{"name", &T::name}, Field{"description", &T::description}, Field{"source", &T::source}};
    }
};

/// Stateless; thread-safe; nothing throws. Folders and files belong to others: what cannot be read is as if it were not
/// there, links to folders are not entered below the folder asked for, at most 10,000 entries of a folder and the first
/// MiB of a file are looked at, and names that are not UTF-8, which no one could type, are passed over.
namespace SlashCommands {

using Commands = std::vector<SlashCommand>;

/// All commands of an agent that runs in `cwd` for the user with this home directory; of those with the same name the
/// first of: built in, the project's, the user's.
Commands list(AgentKind kind, const std::string& cwd, const std::string& home);

/// The commands that every agent of this kind has; none for kinds other than Claude and Codex.
Commands builtIns(AgentKind kind);

/// A command for each Markdown file below `directory`, "/" + `prefix` + its path with ":" for "/", ascending by name.
Commands files(const std::string& directory, std::string_view source, std::string_view prefix);

/// A command for each folder in `directory` with a readable SKILL.md, ascending by the folders' names.
Commands skills(const std::string& directory, std::string_view source);

/// The keys and values between the lines "---" at the start of a Markdown text, in the small part of YAML that command
/// files use: plain and quoted values, and blocks ("|", ">"), whose lines are joined with spaces. Empty without them.
std::map<std::string, std::string, std::less<>> frontMatter(std::string_view text);

/// The front matter's description, else the first line of the text itself; at most 160 characters.
std::string describe(std::string_view text);

/// The commands that complete `typed` ("/rev"), without regard to case: first those whose name starts with it, then
/// those whose name holds it without its "/".
Commands matching(const Commands& commands, std::string_view typed);

/// `text` when it is the start of a command: a "/" and no white space.
std::optional<std::string> typed(std::string_view text);

} // namespace SlashCommands

} // namespace tarnel
