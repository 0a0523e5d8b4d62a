#include "muxle-tmux/Model.h"
#include "muxle-tmux/Names.h"
#include <initializer_list>
#include <utility>

namespace tarnel::tmux {

namespace {

using Events = std::vector<JSON::Object>;

JSON::Object& add(Events& events, std::string_view name, const SessionModel& session)
{
    return events.emplace_back(JSON::Object{{"event", name}, {"workspace_id", workspaceID(session.number)}});
}

JSON::Object& add(Events& events, std::string_view name, const WindowModel& window)
{
    return events.emplace_back(
        JSON::Object{{"event", name}, {"tab_id", tabID(window.number)}, {"workspace_id", workspaceID(window.session)}});
}

JSON::Object& add(Events& events, std::string_view name, const PaneModel& pane)
{
    return events.emplace_back(JSON::Object{{"event", name}, {"pane_id", paneID(pane.number)},
        {"tab_id", tabID(pane.window)}, {"workspace_id", workspaceID(pane.session)}});
}

JSON agentOf(const PaneModel& pane) { return pane.agent ? JSON(*pane.agent) : JSON(); }

void sessionEvents(const SessionModel* old, const SessionModel& now, Events& events)
{
    if (!old)
        add(events, "workspace.created", now);
    else if (old->name != now.name)
        add(events, "workspace.renamed", now)["label"] = now.name;
}

/// Tells of the workspaces that are in both models, and before or behind others of those than they were.
void orderEvents(const Model& before, const Model& after, Events& events)
{
    std::vector<const SessionModel*> old;
    std::vector<const SessionModel*> now;
    for (const SessionModel& each : before.sessions) {
        if (after.session(each.number))
            old.push_back(&each);
    }
    for (const SessionModel& each : after.sessions) {
        if (before.session(each.number))
            now.push_back(&each);
    }
    for (std::size_t i = 0; i < now.size(); ++i) {
        if (now[i]->number != old[i]->number)
            add(events, "workspace.reordered", *now[i]);
    }
}

void windowEvents(const WindowModel* old, const WindowModel& now, Events& events)
{
    if (!old)
        add(events, "tab.created", now);
    if (old && old->name != now.name)
        add(events, "tab.renamed", now)["label"] = now.name;
    if (old && (old->session != now.session || old->index != now.index))
        add(events, "tab.moved", now);
}

void paneEvents(const PaneModel* old, const PaneModel& now, Events& events)
{
    if (!old)
        add(events, "pane.created", now);
    if (old && old->window != now.window)
        add(events, "pane.moved", now);
    if (now.isDead && !(old && old->isDead))
        add(events, "pane.exited", now);
    if ((old ? old->agent : std::nullopt) != now.agent)
        add(events, "pane.agent_detected", now)["agent"] = agentOf(now);
    if (old && now.agent && old->stateChangeSeq != now.stateChangeSeq) {
        JSON::Object& event = add(events, "pane.agent_status_changed", now);
        event["agent_status"] = nameOf(now.status);
        event["state_change_seq"] = now.stateChangeSeq;
    }
}

bool hasFocus(const Model& model, const WindowModel& window)
{
    const SessionModel* session = model.session(window.session);
    return session && session->isFocused && session->activeWindow == window.number;
}

void focusEvents(const Model& before, const Model& after, Events& events)
{
    for (const SessionModel& now : after.sessions) {
        const SessionModel* old = before.session(now.number);
        if (now.isFocused && !(old && old->isFocused))
            add(events, "workspace.focused", now);
    }
    for (const WindowModel& now : after.windows) {
        const WindowModel* old = before.window(now.number);
        const bool hadFocus = old && hasFocus(before, *old);
        const SessionModel* session = after.session(now.session);
        const SessionModel* oldSession = before.session(now.session);
        const bool isActive = session && session->activeWindow == now.number;
        const bool wasActive = oldSession && oldSession->activeWindow == now.number;
        if ((hasFocus(after, now) && !hadFocus) || (isActive && oldSession && !wasActive))
            add(events, "tab.focused", now);
    }
    for (const PaneModel& now : after.panes) {
        const PaneModel* old = before.pane(now.number);
        // Also the change of a tab's own active pane, which its layout tells, elsewhere than under the user's eyes.
        if ((now.isFocused && !(old && old->isFocused)) || (now.isActive && old && !old->isActive))
            add(events, "pane.focused", now);
    }
}

} // namespace

std::vector<JSON::Object> eventsBetween(const Model& before, const Model& after)
{
    Events events;
    if (before.server != after.server && !before.server.empty() && !after.server.empty()) {
        // The same ids stand for other things now.
        events = eventsBetween(before, Model());
        Model nothing;
        nothing.server = after.server;
        const Events created = eventsBetween(nothing, after);
        events.insert(events.end(), created.begin(), created.end());
        return events;
    }
    for (const PaneModel& old : before.panes) {
        if (!after.pane(old.number))
            add(events, "pane.closed", old);
    }
    for (const WindowModel& old : before.windows) {
        if (!after.window(old.number))
            add(events, "tab.closed", old);
    }
    for (const SessionModel& old : before.sessions) {
        if (!after.session(old.number))
            add(events, "workspace.closed", old);
    }
    for (const SessionModel& now : after.sessions)
        sessionEvents(before.session(now.number), now, events);
    orderEvents(before, after, events);
    for (const WindowModel& now : after.windows)
        windowEvents(before.window(now.number), now, events);
    for (const PaneModel& now : after.panes)
        paneEvents(before.pane(now.number), now, events);
    for (const WindowModel& now : after.windows) {
        const WindowModel* old = before.window(now.number);
        if (!old || old->layout != now.layout || old->isZoomed != now.isZoomed)
            add(events, "layout.updated", now);
    }
    focusEvents(before, after, events);
    return events;
}

} // namespace tarnel::tmux
