#include "TarnelCore/Muxle/MuxleModels.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Text.h"

namespace tarnel {

namespace {

/// The first statuses win: of the label what waits for the user, of the state what is under way.
constexpr std::array labelOrder{
    AgentStatus::blocked, AgentStatus::working, AgentStatus::done, AgentStatus::idle, AgentStatus::unknown};
constexpr std::array stateOrder{
    AgentStatus::working, AgentStatus::blocked, AgentStatus::done, AgentStatus::idle, AgentStatus::unknown};

AgentStatus statusNamed(const std::optional<std::string>& name)
{
    return name ? enumNamed<AgentStatus>(*name).value_or(AgentStatus::unknown) : AgentStatus::unknown;
}

/// Whether a title that starts with this scalar shows a spinner: half-filled circles and Braille dots.
bool isSpinner(char32_t scalar)
{
    return (scalar >= 0x25D0 && scalar <= 0x25D3) || (scalar >= 0x2801 && scalar <= 0x28FF);
}

/// The status among `order` for which the space-attention plugin has set a token, and the token's text.
template <class Order>
std::optional<std::pair<AgentStatus, std::string>> firstToken(
    const std::map<std::string, std::string>& tokens, const Order& order)
{
    for (const AgentStatus status : order) {
        const auto token = tokens.find("space_" + std::string(nameOf(status)));
        if (token != tokens.end() && !token->second.empty())
            return std::pair{status, token->second};
    }
    return std::nullopt;
}

} // namespace

AgentStatus reconciledStatus(const std::optional<std::string>& raw, const std::optional<std::string>& title)
{
    const AgentStatus status = statusNamed(raw);
    if (status == AgentStatus::blocked || !title || title->empty())
        return status;
    return isSpinner(Text::firstScalar(*title).value) ? AgentStatus::working : status;
}

AgentKind agentKind(std::string_view muxleName) { return enumNamed<AgentKind>(muxleName).value_or(AgentKind::other); }

std::string_view displayName(AgentKind kind)
{
    switch (kind) {
    case AgentKind::claude:
        return "Claude Code";
    case AgentKind::codex:
        return "Codex";
    case AgentKind::grok:
        return "Grok";
    case AgentKind::agy:
        return "agy";
    case AgentKind::gemini:
        return "Gemini";
    case AgentKind::opencode:
        return "OpenCode";
    case AgentKind::pi:
        return "pi";
    case AgentKind::other:
        break;
    }
    return "Agent";
}

std::optional<MuxleAgent> MuxleAgent::fromMuxle(const JSON& json)
{
    auto paneID = stringOf(json["pane_id"]);
    if (!paneID)
        return std::nullopt;
    const auto either = [&](const char* first, const char* second) {
        auto text = stringOf(json[first]);
        return text ? text : stringOf(json[second]);
    };
    MuxleAgent agent;
    agent.paneID = *std::move(paneID);
    agent.workspaceID = stringOf(json["workspace_id"]).value_or("");
    agent.tabID = stringOf(json["tab_id"]).value_or("");
    agent.agent = stringOf(json["agent"]).value_or("unknown");
    // Stripping takes the spinner off, so the whole title tells.
    agent.status = reconciledStatus(stringOf(json["agent_status"]), stringOf(json["terminal_title"]));
    agent.cwd = stringOf(json["cwd"]).value_or("");
    agent.foregroundCwd = stringOf(json["foreground_cwd"]);
    agent.focused = booleanOf(json["focused"]).value_or(false);
    agent.revision = integerOf(json["revision"]).value_or(0);
    agent.stateChangeSeq = integerOf(json["state_change_seq"]).value_or(-1);
    agent.terminalTitle = either("terminal_title_stripped", "terminal_title");
    agent.name = either("name", "label");
    if (const JSON* session = json["agent_session"]) {
        agent.sessionID = stringOf((*session)["value"]);
        agent.sessionSource = stringOf((*session)["source"]);
    }
    if (!json["agent"])
        agent.shell = true;
    return agent;
}

std::string MuxleAgent::title() const
{
    if (name && !name->empty())
        return *name;
    if (terminalTitle && !terminalTitle->empty())
        return *terminalTitle;
    const std::string last = Files::lastComponent(cwd);
    return last.empty() && !cwd.empty() ? "/" : last; // only the root has no last part
}

std::optional<MuxleWorkspace> MuxleWorkspace::fromMuxle(const JSON& json)
{
    auto workspaceID = stringOf(json["workspace_id"]);
    if (!workspaceID)
        return std::nullopt;
    MuxleWorkspace workspace;
    workspace.workspaceID = *std::move(workspaceID);
    workspace.number = integerOf(json["number"]).value_or(0);
    workspace.label = stringOf(json["label"]).value_or(workspace.workspaceID);
    workspace.status = statusNamed(stringOf(json["agent_status"]));
    workspace.paneCount = integerOf(json["pane_count"]).value_or(0);
    workspace.tabCount = integerOf(json["tab_count"]).value_or(0);
    const JSON* tokens = json["tokens"];
    if (const JSON::Object* members = tokens ? tokens->object() : nullptr) {
        for (const auto& [key, value] : *members) {
            if (const std::string* text = value.string())
                workspace.tokens.emplace(key, *text);
        }
    }
    workspace.activeTabID = stringOf(json["active_tab_id"]);
    return workspace;
}

std::optional<std::string> MuxleWorkspace::attentionLabel() const
{
    const auto token = firstToken(tokens, labelOrder);
    return token ? std::optional(token->second) : std::nullopt;
}

AgentStatus MuxleWorkspace::attentionState() const
{
    const auto token = firstToken(tokens, stateOrder);
    return token ? token->first : status;
}

bool MuxleWorkspace::isHeader() const
{
    const auto kind = tokens.find("space_kind");
    return kind != tokens.end() && kind->second == "header";
}

std::optional<MuxleTab> MuxleTab::fromMuxle(const JSON& json)
{
    auto tabID = stringOf(json["tab_id"]);
    if (!tabID)
        return std::nullopt;
    MuxleTab tab;
    tab.tabID = *std::move(tabID);
    tab.workspaceID = stringOf(json["workspace_id"]).value_or("");
    tab.number = integerOf(json["number"]).value_or(0);
    tab.label = stringOf(json["label"]).value_or("");
    tab.status = statusNamed(stringOf(json["agent_status"]));
    tab.paneCount = integerOf(json["pane_count"]).value_or(0);
    return tab;
}

} // namespace tarnel
