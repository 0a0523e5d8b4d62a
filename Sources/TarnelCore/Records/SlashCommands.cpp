#include "TarnelCore/Records/SlashCommands.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <set>
#include <span>

namespace tarnel::SlashCommands {

namespace {

constexpr std::size_t longestDescription = 160;
constexpr std::size_t mostEntries = 10'000;
constexpr std::size_t mostBytes = std::size_t{1} << 20;

struct BuiltIn {
    std::string_view name;
    std::string_view description;
};

constexpr BuiltIn claudeBuiltIns[] = {
    {"/goal", "Set a goal Claude checks before stopping"},
    {"/new", "Clear the conversation and start fresh"},
    {"/clear", "Clear the conversation and start fresh"},
    {"/compact", "Summarize the conversation to free up context"},
    {"/loop", "Run a prompt or command on an interval"},
    {"/plan", "Enable plan mode or view the session plan"},
    {"/context", "Show how the context window is used"},
    {"/cost", "Show this session's cost and duration"},
    {"/usage", "Show plan usage limits"},
    {"/model", "Choose the model"},
    {"/review", "Review a pull request"},
    {"/init", "Write a CLAUDE.md for this project"},
    {"/memory", "Edit memory files"},
    {"/resume", "Resume an earlier conversation"},
    {"/rename", "Rename the current conversation"},
    {"/rewind", "Rewind the conversation or code"},
    {"/diff", "Show the changes made"},
    {"/export", "Export the conversation"},
    {"/todos", "Show the current to-do list"},
    {"/status", "Show version, model, and account"},
    {"/config", "Open settings"},
    {"/output-style", "List output styles or switch to one"},
    {"/reload-skills", "Pick up skills added or changed on disk"},
    {"/login", "Sign in or switch Anthropic accounts"},
    {"/permissions", "View or change tool permissions"},
    {"/agents", "Manage subagents"},
    {"/mcp", "Manage MCP servers"},
    {"/hooks", "Manage hooks"},
    {"/plugin", "Manage plugins"},
    {"/add-dir", "Add a working directory"},
    {"/help", "Show help"},
};

constexpr BuiltIn codexBuiltIns[] = {
    {"/goal", "Set a goal Codex works toward"},
    {"/new", "Start a new conversation"},
    {"/compact", "Summarize the conversation to free up context"},
    {"/model", "Choose the model and reasoning effort"},
    {"/approvals", "Choose what Codex may do without asking"},
    {"/review", "Review the current changes"},
    {"/diff", "Show the git diff"},
    {"/mention", "Mention a file"},
    {"/init", "Write an AGENTS.md for this project"},
    {"/status", "Show session settings and usage"},
    {"/mcp", "List MCP tools"},
};

std::span<const BuiltIn> tableOf(AgentKind kind)
{
    if (kind == AgentKind::claude)
        return claudeBuiltIns;
    if (kind == AgentKind::codex)
        return codexBuiltIns;
    return {};
}

/// The file's text with line feeds as its line ends; nothing when it cannot be read or is not UTF-8.
std::optional<std::string> readText(const std::string& path)
{
    std::optional<std::string> text = Files::readStart(path, mostBytes);
    if (!text)
        return std::nullopt;
    if (text->size() == mostBytes)
        text->resize(text->rfind('\n') + 1); // only whole lines, lest a character be cut
    if (!Text::isValidUTF8(*text))
        return std::nullopt;
    return Text::replacingAll(*text, "\r\n", "\n");
}

bool isIndented(std::string_view line) { return line.starts_with(' ') || line.starts_with('\t'); }

bool isBlockMark(std::string_view value)
{
    return value == "|" || value == ">" || value == "|-" || value == ">-" || value == "|+" || value == ">+";
}

std::string firstCharacters(std::string_view text) { return std::string(Text::prefix(text, longestDescription)); }

} // namespace

Commands list(AgentKind kind, const std::string& cwd, const std::string& home)
{
    Commands all = builtIns(kind);
    const auto add = [&](Commands more) { std::move(more.begin(), more.end(), std::back_inserter(all)); };
    if (kind == AgentKind::claude) {
        add(files(cwd + "/.claude/commands", "project", ""));
        add(skills(cwd + "/.claude/skills", "project"));
        add(files(home + "/.claude/commands", "user", ""));
        add(skills(home + "/.claude/skills", "skill"));
    } else if (kind == AgentKind::codex) {
        add(files(home + "/.codex/prompts", "user", "prompts:"));
    }
    std::set<std::string> seen;
    std::erase_if(all, [&](const SlashCommand& command) { return !seen.insert(command.name).second; });
    return all;
}

Commands builtIns(AgentKind kind)
{
    Commands commands;
    for (const BuiltIn& one : tableOf(kind))
        commands.push_back({std::string(one.name), std::string(one.description), "built-in"});
    return commands;
}

Commands files(const std::string& directory, std::string_view source, std::string_view prefix)
{
    constexpr std::string_view ending = ".md";
    Commands commands;
    for (const std::string& path : Files::walk(directory, mostEntries)) {
        if (!path.ends_with(ending) || !Text::isValidUTF8(path))
            continue;
        std::string stem = path.substr(0, path.size() - ending.size());
        std::replace(stem.begin(), stem.end(), '/', ':');
        std::string name("/");
        name.append(prefix).append(stem);
        const std::string text = readText(directory + "/" + path).value_or("");
        commands.push_back({std::move(name), describe(text), std::string(source)});
    }
    std::sort(
        commands.begin(), commands.end(), [](const SlashCommand& a, const SlashCommand& b) { return a.name < b.name; });
    return commands;
}

Commands skills(const std::string& directory, std::string_view source)
{
    std::vector<std::string> folders = Files::list(directory);
    std::sort(folders.begin(), folders.end());
    folders.resize(std::min(folders.size(), mostEntries));
    Commands commands;
    for (const std::string& folder : folders) {
        const std::optional<std::string> text = readText(directory + "/" + folder + "/SKILL.md");
        if (!text)
            continue;
        const auto matter = frontMatter(*text);
        const auto named = matter.find("name");
        const std::string& name = named != matter.end() && !named->second.empty() ? named->second : folder;
        if (Text::isValidUTF8(name))
            commands.push_back({"/" + name, describe(*text), std::string(source)});
    }
    return commands;
}

std::map<std::string, std::string, std::less<>> frontMatter(std::string_view text)
{
    std::map<std::string, std::string, std::less<>> matter;
    const std::vector<std::string_view> lines = Text::split(text, '\n');
    if (Text::trimmedBlanks(lines.front()) != "---")
        return matter;
    for (std::size_t i = 1; i < lines.size() && Text::trimmedBlanks(lines[i]) != "---"; ++i) {
        const std::string_view line = lines[i];
        const std::size_t colon = line.find(':');
        if (colon == line.npos || line.starts_with(' '))
            continue;
        const std::string key(Text::trimmedBlanks(line.substr(0, colon)));
        std::string value(Text::trimmedBlanks(line.substr(colon + 1)));
        if (isBlockMark(value)) {
            std::vector<std::string_view> block;
            for (; i + 1 < lines.size() && (lines[i + 1].empty() || isIndented(lines[i + 1])); ++i) {
                const std::string_view piece = Text::trimmedBlanks(lines[i + 1]);
                if (!piece.empty())
                    block.push_back(piece);
            }
            value = Text::joined(block, " ");
        }
        matter[key] = Text::trimmedOf(value, "\"'");
    }
    return matter;
}

std::string describe(std::string_view text)
{
    const auto matter = frontMatter(text);
    const auto description = matter.find("description");
    if (description != matter.end() && !description->second.empty())
        return firstCharacters(description->second);
    constexpr std::string_view matterEnd = "\n---";
    const std::size_t end = text.starts_with("---") ? text.find(matterEnd) : text.npos;
    if (end != text.npos)
        text.remove_prefix(end + matterEnd.size());
    for (const std::string_view line : Text::splitNonEmpty(text, '\n')) {
        const std::string_view content = Text::trimmedBlanks(line);
        if (!content.empty() && !content.starts_with("---"))
            return firstCharacters(Text::trimmedOf(content, "# "));
    }
    return {};
}

Commands matching(const Commands& commands, std::string_view typed)
{
    const std::string start = Text::lowercased(typed);
    const std::string_view part = std::string_view(start).substr(Text::firstCharacterLength(start));
    Commands starting;
    Commands holding;
    for (const SlashCommand& command : commands) {
        const std::string name = Text::lowercased(command.name);
        if (name.starts_with(start))
            starting.push_back(command);
        else if (name.find(part) != name.npos)
            holding.push_back(command);
    }
    std::move(holding.begin(), holding.end(), std::back_inserter(starting));
    return starting;
}

std::optional<std::string> typed(std::string_view text)
{
    if (!text.starts_with('/'))
        return std::nullopt;
    for (std::string_view rest = text; !rest.empty();) {
        const Text::Scalar scalar = Text::firstScalar(rest);
        if (Text::isWhitespace(scalar.value))
            return std::nullopt;
        rest.remove_prefix(scalar.length);
    }
    return std::string(text);
}

} // namespace tarnel::SlashCommands
