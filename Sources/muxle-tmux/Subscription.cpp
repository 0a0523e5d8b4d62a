#include "muxle-tmux/Subscription.h"
#include "muxle-tmux/TmuxError.h"
#include <algorithm>
#include <array>

namespace tarnel::tmux {

namespace {

constexpr std::string_view statusEvent = "pane.agent_status_changed";

constexpr std::array<std::string_view, 18> eventTypes{"pane.agent_detected", "pane.created", "pane.closed",
    "pane.exited", "pane.focused", "tab.focused", "workspace.focused", "layout.updated", "pane.moved", "tab.created",
    "tab.closed", "tab.renamed", "tab.moved", "workspace.created", "workspace.closed", "workspace.renamed",
    "workspace.metadata_updated", "workspace.reordered"};

} // namespace

void Subscription::add(const JSON::Array& subscriptions)
{
    Subscription wider = *this;
    for (const JSON& each : subscriptions) {
        const auto type = stringOf(each["type"]);
        const auto pane = stringOf(each["pane_id"]);
        if (!type)
            throw TmuxError::invalidParams("each subscription must be an object with a \"type\"");
        if (*type == statusEvent && pane)
            wider.panes.insert(*pane);
        else if (*type == statusEvent)
            throw TmuxError::invalidParams("a subscription to \"pane.agent_status_changed\" needs a \"pane_id\"");
        else if (std::find(eventTypes.begin(), eventTypes.end(), *type) != eventTypes.end())
            wider.types.insert(*type);
        else
            throw TmuxError::invalidParams("there is no event \"" + *type + "\"");
    }
    *this = std::move(wider);
}

bool Subscription::includes(const JSON::Object& event) const
{
    const std::string type = stringOf(event.find("event")).value_or("");
    return type == statusEvent ? panes.contains(stringOf(event.find("pane_id")).value_or("")) : types.contains(type);
}

} // namespace tarnel::tmux
