// TarnelCore/Muxle/MuxleModels.h: what the multiplexer reports of its panes, tabs and workspaces.
#pragma once
#include "TarnelCore/JSON/Record.h"
#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

using namespace std::string_view_literals;

/// What an agent is doing, as the multiplexer sees it.
enum class AgentStatus { working, blocked, done, idle, unknown };
constexpr auto namesOf(AgentStatus) { return std::array{"working"sv, "blocked"sv, "done"sv, "idle"sv, "unknown"sv}; }

/// The status that the multiplexer's word `raw` and the terminal title together tell: an agent that draws a spinner at
/// the start of its title is working, unless it is known to be blocked. An absent or unknown word gives `unknown`.
AgentStatus reconciledStatus(const std::optional<std::string>& raw, const std::optional<std::string>& title);

/// Which coding agent runs in a pane.
enum class AgentKind { claude, codex, grok, agy, gemini, opencode, pi, other };
constexpr auto namesOf(AgentKind)
{
    return std::array{"claude"sv, "codex"sv, "grok"sv, "agy"sv, "gemini"sv, "opencode"sv, "pi"sv, "other"sv};
}

/// The kind with exactly this name; `other` for any other name.
AgentKind agentKind(std::string_view muxleName);

/// The name shown to people.
std::string_view displayName(AgentKind kind);

/// One pane as the multiplexer lists it, with or without an agent.
struct MuxleAgent {
    std::string paneID;
    std::string workspaceID;
    std::string tabID;
    std::string agent = "unknown"; ///< The agent's name, such as "claude".
    AgentStatus status = AgentStatus::unknown;
    std::string cwd;
    std::optional<std::string> foregroundCwd;
    bool focused = false;
    std::int64_t revision = 0;        ///< Counts the pane's output.
    std::int64_t stateChangeSeq = -1; ///< Counts the agent's status changes.
    std::optional<std::string> terminalTitle;
    std::optional<std::string> name; ///< Given by the user.
    std::optional<std::string> sessionID;
    std::optional<std::string> sessionSource;
    std::optional<bool> shell; ///< True for a pane without an agent; else absent.

    bool operator==(const MuxleAgent&) const = default;
    static constexpr auto fields()
    {
        using T = MuxleAgent;
        return std::tuple{Field{"paneID", &T::paneID}, Field{"workspaceID", &T::workspaceID}, Field{"tabID", &T::tabID},
            Field{"agent", &T::agent}, Field{"status", &T::status}, Field{"cwd", &T::cwd},
            Field{"foregroundCwd", &T::foregroundCwd}, Field{"focused", &T::focused}, Field{"revision", &T::revision},
            Field{"stateChangeSeq", &T::stateChangeSeq}, Field{"terminalTitle", &T::terminalTitle},
            Field{"name", &T::name}, Field{"sessionID", &T::sessionID}, Field{"sessionSource", &T::sessionSource},
            Field{"shell", &T::shell}};
    }

    /// Reads the multiplexer's own form, which differs from the JSON form of the record. Missing or mistyped members take
    /// their defaults; nothing when there is no string "pane_id".
    static std::optional<MuxleAgent> fromMuxle(const JSON& json);

    [[nodiscard]] bool isAgent() const { return shell != true; }
    [[nodiscard]] AgentKind kind() const { return agentKind(agent); }
    /// The name, else the terminal's title, else the last part of the working directory; the first that is not empty.
    [[nodiscard]] std::string title() const;
};

/// One workspace ("space") of the multiplexer.
struct MuxleWorkspace {
    std::string workspaceID;
    std::int64_t number = 0;
    std::string label;
    AgentStatus status = AgentStatus::unknown;
    std::int64_t paneCount = 0;
    std::int64_t tabCount = 0;
    std::map<std::string, std::string> tokens;
    std::optional<std::string> activeTabID;

    bool operator==(const MuxleWorkspace&) const = default;
    static constexpr auto fields()
    {
        using T = MuxleWorkspace;
        return std::tuple{Field{"workspaceID", &T::workspaceID}, Field{"number", &T::number}, Field{"label", &T::label},
            Field{"status", &T::status}, Field{"paneCount", &T::paneCount}, Field{"tabCount", &T::tabCount},
            Field{"tokens", &T::tokens}, Field{"activeTabID", &T::activeTabID}};
    }

    /// As `MuxleAgent::fromMuxle`; nothing when there is no string "workspace_id".
    static std::optional<MuxleWorkspace> fromMuxle(const JSON& json);

    /// What the space-attention plugin says of the space, the most urgent token first; absent when it says nothing.
    [[nodiscard]] std::optional<std::string> attentionLabel() const;
    /// The state that the plugin's tokens tell, else the workspace's status.
    [[nodiscard]] AgentStatus attentionState() const;
    /// Whether the workspace only heads a group of others.
    [[nodiscard]] bool isHeader() const;
};

/// One tab of a workspace.
struct MuxleTab {
    std::string tabID;
    std::string workspaceID;
    std::int64_t number = 0;
    std::string label;
    AgentStatus status = AgentStatus::unknown;
    std::int64_t paneCount = 0;

    bool operator==(const MuxleTab&) const = default;
    static constexpr auto fields()
    {
        using T = MuxleTab;
        return std::tuple{Field{"tabID", &T::tabID}, Field{"workspaceID", &T::workspaceID}, Field{"number", &T::number},
            Field{"label", &T::label}, Field{"status", &T::status}, Field{"paneCount", &T::paneCount}};
    }

    /// As `MuxleAgent::fromMuxle`; nothing when there is no string "tab_id".
    static std::optional<MuxleTab> fromMuxle(const JSON& json);
};

} // namespace tarnel
