#include "Support/MuxleWorld.h"
#include "TarnelCore/Muxle/MuxleClient.h"
#include <algorithm>
#include <stdexcept>

namespace tarnel {

namespace {

template <class List> auto& withID(List& list, std::string_view id)
{
    const auto found = std::find_if(list.begin(), list.end(), [&](const auto& each) { return each.id == id; });
    if (found == list.end())
        throw std::out_of_range("no \"" + std::string(id) + "\" in this world");
    return *found;
}

template <class List, class Form> JSON::Array arrayOf(const List& list, Form form)
{
    JSON::Array elements;
    for (const auto& each : list)
        elements.push_back(form(each));
    return elements;
}

JSON paneJSON(const MuxleWorld::Pane& pane)
{
    JSON::Object json{{"pane_id", pane.id}, {"workspace_id", pane.workspace}, {"tab_id", pane.tab},
        {"agent_status", pane.status}, {"cwd", pane.cwd}, {"foreground_cwd", pane.cwd}, {"focused", pane.isFocused},
        {"revision", pane.revision}, {"terminal_title", pane.title}};
    if (pane.agent)
        json["agent"] = *pane.agent;
    if (pane.name)
        json["name"] = *pane.name;
    if (pane.sessionID)
        json["agent_session"] = JSON::object({{"value", *pane.sessionID}, {"source", "hook"}});
    for (const auto& [key, value] : pane.more)
        json[key] = value;
    return json;
}

/// Only the list of agents tells how often a status changed.
JSON agentJSON(const MuxleWorld::Pane& pane)
{
    JSON json = paneJSON(pane);
    if (!json["state_change_seq"])
        (*json.object())["state_change_seq"] = pane.stateChangeSeq;
    return json;
}

template <class List, class Of> std::int64_t count(const List& list, Of of)
{
    return std::count_if(list.begin(), list.end(), of);
}

JSON rectJSON(const CellRect& rect)
{
    return JSON::object({{"x", rect.x}, {"y", rect.y}, {"width", rect.width}, {"height", rect.height}});
}

JSON splitJSON(const LayoutSplit& split)
{
    return JSON::object(
        {{"id", split.id}, {"direction", split.direction}, {"ratio", split.ratio}, {"rect", rectJSON(split.rect)}});
}

JSON layoutJSON(const MuxleWorld& world, const MuxleWorld::Tab& tab)
{
    JSON::Array panes;
    JSON focused;
    for (const MuxleWorld::Pane& pane : world.panes) {
        if (pane.tab != tab.id)
            continue;
        panes.push_back(JSON::object({{"pane_id", pane.id}, {"rect", rectJSON(pane.rect)}}));
        if (pane.isFocused)
            focused = pane.id;
    }
    return JSON::object(
        {{"tab_id", tab.id}, {"workspace_id", tab.workspace}, {"zoomed", tab.isZoomed}, {"focused_pane_id", focused},
            {"area", rectJSON(tab.area)}, {"panes", panes}, {"splits", arrayOf(tab.splits, splitJSON)}});
}

/// The last `count` lines of `text`.
std::string lastLines(const std::string& text, std::int64_t count)
{
    std::size_t start = text.size();
    for (; count > 0; --count) {
        const std::size_t feed = start == 0 ? text.npos : text.rfind('\n', start - 1);
        if (feed == text.npos)
            return text;
        start = feed;
    }
    return text.substr(std::min(start + 1, text.size()));
}

const MuxleWorld::Pane& known(const MuxleWorld& world, const std::string& id)
{
    try {
        return withID(world.panes, id);
    } catch (const std::out_of_range&) {
        throw MuxleError("pane_not_found", "no pane " + id);
    }
}

} // namespace

MuxleWorld MuxleWorld::usual()
{
    MuxleWorld world;
    world.workspaces = {{.id = "w1", .label = "project", .activeTab = "t1"}};
    world.tabs = {{.id = "t1",
        .workspace = "w1",
        .label = "main",
        .splits = {{"s1", "right", 0.5, {0, 0, 160, 48}}, {"s2", "down", 0.5, {80, 0, 80, 48}}}}};
    const auto add = [&](std::string id, std::optional<std::string> agent, CellRect rect) {
        Pane pane{.id = std::move(id), .workspace = "w1", .tab = "t1", .agent = std::move(agent), .rect = rect};
        pane.isFocused = world.panes.empty();
        pane.screen = "screen of " + pane.id;
        world.panes.push_back(std::move(pane));
    };
    add("p1", "claude", {0, 0, 80, 48});
    add("p2", "codex", {80, 0, 80, 24});
    add("p3", std::nullopt, {80, 24, 80, 24});
    return world;
}

MuxleWorld::Pane& MuxleWorld::pane(std::string_view id) { return withID(panes, id); }
MuxleWorld::Tab& MuxleWorld::tab(std::string_view id) { return withID(tabs, id); }
MuxleWorld::Workspace& MuxleWorld::workspace(std::string_view id) { return withID(workspaces, id); }

JSON MuxleWorld::agentList() const
{
    std::vector<Pane> agents;
    std::copy_if(panes.begin(), panes.end(), std::back_inserter(agents), [](const Pane& pane) { return !!pane.agent; });
    return JSON::object({{"agents", arrayOf(agents, agentJSON)}});
}

JSON MuxleWorld::paneList() const { return JSON::object({{"panes", arrayOf(panes, paneJSON)}}); }

JSON MuxleWorld::workspaceList() const
{
    const auto form = [&](const Workspace& workspace) {
        const auto isIn = [&](const auto& each) { return each.workspace == workspace.id; };
        JSON::Object tokens;
        for (const auto& [key, text] : workspace.tokens)
            tokens[key] = text;
        return JSON::object({{"workspace_id", workspace.id}, {"number", workspace.number}, {"label", workspace.label},
            {"agent_status", workspace.status}, {"active_tab_id", workspace.activeTab}, {"tokens", tokens},
            {"pane_count", count(panes, isIn)}, {"tab_count", count(tabs, isIn)}});
    };
    return JSON::object({{"workspaces", arrayOf(workspaces, form)}});
}

JSON MuxleWorld::sessionSnapshot() const
{
    const auto tabForm = [&](const Tab& tab) {
        const auto isIn = [&](const Pane& pane) { return pane.tab == tab.id; };
        return JSON::object({{"tab_id", tab.id}, {"workspace_id", tab.workspace}, {"number", tab.number},
            {"label", tab.label}, {"agent_status", tab.status}, {"pane_count", count(panes, isIn)}});
    };
    const auto layoutForm = [&](const Tab& tab) { return layoutJSON(*this, tab); };
    const JSON listed = workspaceList();
    return JSON::object({{"snapshot",
        JSON::object({{"workspaces", *listed["workspaces"]}, {"tabs", arrayOf(tabs, tabForm)},
            {"layouts", arrayOf(tabs, layoutForm)}, {"panes", arrayOf(panes, paneJSON)}})}});
}

JSON MuxleWorld::paneRead(const JSON::Object& params) const
{
    const Pane& pane = known(*this, stringOf(params.find("pane_id")).value_or(""));
    const auto special = pane.screens.find(stringOf(params.find("source")).value_or(""));
    std::string text = special == pane.screens.end() ? pane.screen : special->second;
    if (const auto lines = integerOf(params.find("lines")))
        text = lastLines(text, *lines);
    return JSON::object({{"read", JSON::object({{"pane_id", pane.id}, {"text", text}})}});
}

void MuxleWorld::focus(const std::string& id)
{
    known(*this, id);
    for (Pane& pane : panes)
        pane.isFocused = pane.id == id;
}

} // namespace tarnel
