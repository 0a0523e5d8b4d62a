#include "muxle-tmux/AgentCommand.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Muxle/MuxleModels.h"
#include <algorithm>
#include <array>
#include <string_view>

namespace tarnel::tmux {

namespace {

/// Packages and executables that bear another name than their agent.
constexpr std::array<std::pair<std::string_view, std::string_view>, 7> aliases{{
    {"claude-code", "claude"},
    {"codex-cli", "codex"},
    {"gemini-cli", "gemini"},
    {"grok-cli", "grok"},
    {"opencode-ai", "opencode"},
    {"opencode-cli", "opencode"},
    {"pi-coding-agent", "pi"},
}};

constexpr std::array<std::string_view, 8> scriptEndings{".js", ".mjs", ".cjs", ".ts", ".py", ".rb", ".sh", ".exe"};

constexpr std::array<std::string_view, 10> interpreters{
    "node", "nodejs", "bun", "deno", "ruby", "sh", "bash", "zsh", "dash", "fish"};

/// Options of interpreters that take the next word.
constexpr std::array<std::string_view, 12> valuedOptions{"-r", "--require", "--import", "--loader",
    "--experimental-loader", "-C", "--conditions", "--env-file", "-W", "-X", "-I", "-O"};

template <class List> bool contains(const List& list, std::string_view word)
{
    return std::find(list.begin(), list.end(), word) != list.end();
}

std::optional<std::string> agentNamed(std::string_view name)
{
    for (const auto& [alias, agent] : aliases) {
        if (name == alias)
            return std::string(agent);
    }
    const AgentKind kind = agentKind(name);
    return kind == AgentKind::other ? std::nullopt : std::optional(std::string(name));
}

std::string programName(std::string_view word)
{
    if (word.starts_with('-')) // a login shell
        word.remove_prefix(1);
    std::string name = Files::lastComponent(word);
    for (const std::string_view ending : scriptEndings) {
        if (name.ends_with(ending))
            return name.substr(0, name.size() - ending.size());
    }
    return name;
}

bool isInterpreter(std::string_view name) { return contains(interpreters, name) || name.starts_with("python"); }

/// By the script's own name, else by that of the package that it belongs to.
std::optional<std::string> agentOfScript(std::string_view path)
{
    if (auto agent = agentNamed(programName(path)))
        return agent;
    const auto parts = Text::splitNonEmpty(path, '/');
    for (std::size_t i = parts.size(); i-- > 1;) {
        const bool isPackage = parts[i - 1] == "node_modules" || parts[i - 1] == "site-packages"
            || (i > 1 && parts[i - 1].starts_with('@') && parts[i - 2] == "node_modules");
        if (!isPackage)
            continue;
        if (auto agent = agentNamed(parts[i]))
            return agent;
    }
    return std::nullopt;
}

/// Session ids are UUIDs or words of their agents' own; names and search words that a user would type are neither.
bool isSessionID(std::string_view word)
{
    const bool isWord = word.size() >= 8 && std::all_of(word.begin(), word.end(), [](char each) {
        return (each >= '0' && each <= '9') || (each >= 'a' && each <= 'z') || (each >= 'A' && each <= 'Z')
            || each == '-' || each == '_';
    });
    return isWord && word.front() != '-' && word.find_first_of("0123456789") != word.npos;
}

} // namespace

std::optional<std::string> AgentCommand::agent(const std::vector<std::string>& words)
{
    if (words.empty())
        return std::nullopt;
    const std::string program = programName(words.front());
    if (auto agent = agentNamed(program))
        return agent;
    if (!isInterpreter(program))
        return std::nullopt;
    for (std::size_t i = 1; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (word == "-m" && i + 1 < words.size()) {
            const std::string module = words[i + 1].substr(0, words[i + 1].find('.'));
            return agentNamed(Text::replacingAll(module, "_", "-"));
        }
        if (word == "-c" || word == "-e" || word == "--eval" || word == "-p")
            return std::nullopt; // a program in the command line itself
        if (contains(valuedOptions, word))
            ++i;
        else if (!word.starts_with('-') && !(i == 1 && word == "run")) // as "bun run script"
            return agentOfScript(word);
    }
    return std::nullopt;
}

std::optional<std::string> AgentCommand::session(const std::vector<std::string>& words)
{
    constexpr std::array<std::string_view, 6> options{"--resume", "-r", "--session-id", "--session", "-s", "resume"};
    if (contains(words, "--fork-session") || contains(words, "--fork"))
        return std::nullopt;
    for (std::size_t i = 1; i < words.size(); ++i) {
        const std::size_t equals = words[i].find('=');
        const bool isJoined = equals != std::string::npos && words[i].starts_with("--");
        if (!contains(options, words[i].substr(0, isJoined ? equals : std::string::npos)))
            continue;
        const std::string value = isJoined ? words[i].substr(equals + 1) : i + 1 < words.size() ? words[i + 1] : "";
        if (isSessionID(value))
            return value;
    }
    return std::nullopt;
}

} // namespace tarnel::tmux
