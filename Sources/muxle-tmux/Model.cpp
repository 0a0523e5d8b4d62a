#include "muxle-tmux/Model.h"
#include "TarnelCore/Base/Text.h"
#include "muxle-tmux/Names.h"
#include <algorithm>
#include <array>

namespace tarnel::tmux {

namespace {

template <class List> auto* numbered(List& list, std::int64_t number)
{
    const auto found = std::find_if(list.begin(), list.end(), [&](const auto& each) { return each.number == number; });
    return found == list.end() ? nullptr : &*found;
}

/// The most urgent status of some panes' agents; unknown when there is none.
template <class Includes> AgentStatus statusOf(const Model& model, Includes includes)
{
    for (const AgentStatus status :
        {AgentStatus::blocked, AgentStatus::working, AgentStatus::done, AgentStatus::idle}) {
        const bool isThere = std::any_of(model.panes.begin(), model.panes.end(),
            [&](const PaneModel& pane) { return pane.agent && pane.status == status && includes(pane); });
        if (isThere)
            return status;
    }
    return AgentStatus::unknown;
}

JSON rectJSON(const CellRect& rect)
{
    return JSON::object({{"x", rect.x}, {"y", rect.y}, {"width", rect.width}, {"height", rect.height}});
}

template <class List, class Form> JSON listed(const List& list, Form form)
{
    JSON::Array array;
    for (const auto& each : list)
        array.push_back(form(each));
    return array;
}

} // namespace

const PaneModel* Model::pane(std::int64_t number) const { return numbered(panes, number); }
const WindowModel* Model::window(std::int64_t number) const { return numbered(windows, number); }
const SessionModel* Model::session(std::int64_t number) const { return numbered(sessions, number); }

JSON ModelJSON::pane(const PaneModel& pane)
{
    JSON::Object json{{"pane_id", paneID(pane.number)}, {"tab_id", tabID(pane.window)},
        {"workspace_id", workspaceID(pane.session)}, {"agent_status", nameOf(pane.status)}, {"cwd", pane.cwd},
        {"focused", pane.isFocused}, {"revision", pane.revision}, {"state_change_seq", pane.stateChangeSeq}};
    if (pane.agent)
        json["agent"] = *pane.agent;
    if (pane.foregroundCwd)
        json["foreground_cwd"] = *pane.foregroundCwd;
    if (!pane.title.empty()) {
        json["terminal_title"] = pane.title;
        json["terminal_title_stripped"] = strippedTitle(pane.title);
    }
    if (!pane.name.empty())
        json["name"] = pane.name;
    if (pane.agentSession)
        json["agent_session"] = JSON::object({{"value", *pane.agentSession}, {"source", pane.agentSessionSource}});
    if (pane.isDead)
        json["exited"] = true;
    return json;
}

JSON ModelJSON::panes(const Model& model) { return listed(model.panes, ModelJSON::pane); }

JSON ModelJSON::agents(const Model& model)
{
    JSON::Array array;
    for (const PaneModel& each : model.panes) {
        if (each.agent)
            array.push_back(pane(each));
    }
    return array;
}

JSON ModelJSON::tab(const Model& model, const WindowModel& window)
{
    const auto isInside = [&](const PaneModel& pane) { return pane.window == window.number; };
    const SessionModel* session = model.session(window.session);
    const auto isBefore = [&](const WindowModel& each) {
        return each.session == window.session && each.index < window.index;
    };
    const auto place = std::count_if(model.windows.begin(), model.windows.end(), isBefore);
    return JSON::object({{"tab_id", tabID(window.number)}, {"workspace_id", workspaceID(window.session)},
        {"number", place + 1}, {"label", window.name}, {"agent_status", nameOf(statusOf(model, isInside))},
        {"pane_count", std::count_if(model.panes.begin(), model.panes.end(), isInside)},
        {"focused", session && session->isFocused && session->activeWindow == window.number}});
}

JSON ModelJSON::tabs(const Model& model)
{
    return listed(model.windows, [&](const WindowModel& each) { return tab(model, each); });
}

JSON ModelJSON::workspace(const Model& model, const SessionModel& session)
{
    const auto isInside = [&](const auto& each) { return each.session == session.number; };
    const auto place = std::find_if(model.sessions.begin(), model.sessions.end(), [&](const SessionModel& each) {
        return each.number == session.number;
    }) - model.sessions.begin();
    return JSON::object({{"workspace_id", workspaceID(session.number)}, {"number", place + 1}, {"label", session.name},
        {"agent_status", nameOf(statusOf(model, isInside))},
        {"pane_count", std::count_if(model.panes.begin(), model.panes.end(), isInside)},
        {"tab_count", std::count_if(model.windows.begin(), model.windows.end(), isInside)}, {"tokens", JSON::Object()},
        {"active_tab_id", tabID(session.activeWindow)}, {"focused", session.isFocused}});
}

JSON ModelJSON::workspaces(const Model& model)
{
    return listed(model.sessions, [&](const SessionModel& each) { return workspace(model, each); });
}

JSON ModelJSON::layout(const WindowModel& window)
{
    const auto frame = [](const PaneFrame& pane) {
        return JSON::object({{"pane_id", pane.paneID}, {"rect", rectJSON(pane.rect)}});
    };
    const auto split = [](const LayoutSplit& each) {
        return JSON::object(
            {{"id", each.id}, {"direction", each.direction}, {"ratio", each.ratio}, {"rect", rectJSON(each.rect)}});
    };
    return JSON::object({{"tab_id", tabID(window.number)}, {"workspace_id", workspaceID(window.session)},
        {"zoomed", window.isZoomed}, {"focused_pane_id", paneID(window.activePane)},
        {"area", rectJSON(window.layout.rect)}, {"panes", listed(Layout::panes(window.layout), frame)},
        {"splits", listed(Layout::splits(window.layout), split)}});
}

JSON ModelJSON::layouts(const Model& model) { return listed(model.windows, ModelJSON::layout); }

JSON ModelJSON::snapshot(const Model& model)
{
    return JSON::object({{"panes", panes(model)}, {"workspaces", workspaces(model)}, {"tabs", tabs(model)},
        {"layouts", layouts(model)}});
}

std::string strippedTitle(std::string_view title)
{
    constexpr std::u32string_view marks = U"✳✶✻✽✢·∗*●○◐◑◒◓◇◆✋⏸";
    std::string_view rest = Text::trimmed(title);
    while (!rest.empty()) {
        const Text::Scalar first = Text::firstScalar(rest);
        const bool isBraille = first.value >= 0x2800 && first.value <= 0x28FF;
        if (!isBraille && first.value != 0xFE0F && marks.find(first.value) == marks.npos)
            break;
        rest = Text::trimmed(rest.substr(first.length));
    }
    return std::string(rest.empty() ? Text::trimmed(title) : rest);
}

} // namespace tarnel::tmux
