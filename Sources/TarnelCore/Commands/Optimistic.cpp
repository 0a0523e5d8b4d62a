#include "TarnelCore/Commands/Optimistic.h"
#include <algorithm>
#include <cmath>
#include <set>
#include <utility>
#include <vector>

namespace tarnel::Optimistic {

namespace {

/// The first element whose member `id` is `value`; null when there is none, or no list.
template <class T> T* find(std::vector<T>& list, std::string T::*id, std::string_view value)
{
    const auto found = std::ranges::find(list, value, id);
    return found == list.end() ? nullptr : &*found;
}

template <class T> T* find(std::optional<std::vector<T>>& list, std::string T::*id, std::string_view value)
{
    return list ? find(*list, id, value) : nullptr;
}

template <class T> void removeAll(std::vector<T>& list, std::string T::*id, std::string_view value)
{
    std::erase_if(list, [&](const T& each) { return each.*id == value; });
}

template <class T> void removeAll(std::optional<std::vector<T>>& list, std::string T::*id, std::string_view value)
{
    if (list)
        removeAll(*list, id, value);
}

/// The length that two extents of cells share.
double overlap(double start, double length, double otherStart, double otherLength)
{
    return std::max(std::min(start + length, otherStart + otherLength) - std::max(start, otherStart), 0.0);
}

/// The length of the edge that `other` shares with `rect` on its side `direction`; 0 when it is no neighbor there.
/// In doubles, since a client's snapshot may hold numbers whose sums overflow.
double sharedEdge(const CellRect& rect, const CellRect& other, std::string_view direction)
{
    struct Extents {
        double x;
        double y;
        double width;
        double height;
    };
    const auto extents = [](const CellRect& cells) {
        return Extents{static_cast<double>(cells.x), static_cast<double>(cells.y), static_cast<double>(cells.width),
            static_cast<double>(cells.height)};
    };
    const Extents r = extents(rect);
    const Extents o = extents(other);
    double gap = 0;
    if (direction == "left")
        gap = o.x + o.width - r.x;
    else if (direction == "right")
        gap = o.x - (r.x + r.width);
    else if (direction == "up")
        gap = o.y + o.height - r.y;
    else if (direction == "down")
        gap = o.y - (r.y + r.height);
    else
        return 0;
    if (std::abs(gap) > 1)
        return 0;
    const bool isBeside = direction == "left" || direction == "right";
    return isBeside ? overlap(r.y, r.height, o.y, o.height) : overlap(r.x, r.width, o.x, o.width);
}

/// Removes the agents of which `id` is `value`, with their queue items.
void removeAgents(MachineSnapshot& snapshot, std::string MuxleAgent::*id, std::string_view value)
{
    std::set<std::string> panes;
    for (const MuxleAgent& agent : snapshot.agents) {
        if (agent.*id == value)
            panes.insert(agent.paneID);
    }
    removeAll(snapshot.agents, id, value);
    std::erase_if(snapshot.queue, [&](const AttentionItem& item) { return panes.contains(item.fingerprint.paneID); });
}

/// Numbers `elements` from 1 in the order of their numbers, with `moved` taken out of it and put back at `index`.
template <class T> void renumber(std::vector<T*> elements, T* moved, std::int64_t index)
{
    if (index < 0 || index >= std::ssize(elements))
        return;
    std::stable_sort(elements.begin(), elements.end(), [](const T* a, const T* b) { return a->number < b->number; });
    std::erase(elements, moved);
    elements.insert(elements.begin() + index, moved);
    for (std::size_t i = 0; i < elements.size(); ++i)
        elements[i]->number = static_cast<std::int64_t>(i) + 1;
}

} // namespace

std::optional<std::size_t> layoutIndex(const MachineSnapshot& snapshot, std::string_view pane)
{
    for (std::size_t i = 0; snapshot.layouts && i < snapshot.layouts->size(); ++i) {
        const std::vector<PaneFrame>& frames = (*snapshot.layouts)[i].panes;
        if (std::ranges::find(frames, pane, &PaneFrame::paneID) != frames.end())
            return i;
    }
    return std::nullopt;
}

void focusPane(MachineSnapshot& snapshot, std::string_view pane)
{
    const MuxleAgent* focused = find(snapshot.agents, &MuxleAgent::paneID, pane);
    if (!focused)
        return;
    for (MuxleAgent& agent : snapshot.agents)
        agent.focused = agent.paneID == pane;
    if (const auto index = layoutIndex(snapshot, pane))
        (*snapshot.layouts)[*index].focusedPaneID = std::string(pane);
    showTab(snapshot, focused->tabID);
}

void showTab(MachineSnapshot& snapshot, std::string_view tab)
{
    const std::string* space = nullptr;
    if (const MuxleTab* known = find(snapshot.tabs, &MuxleTab::tabID, tab))
        space = &known->workspaceID;
    else if (const TabLayout* layout = find(snapshot.layouts, &TabLayout::tabID, tab))
        space = &layout->workspaceID;
    if (!space)
        return;
    if (MuxleWorkspace* shown = find(snapshot.workspaces, &MuxleWorkspace::workspaceID, *space))
        shown->activeTabID = std::string(tab);
}

void setZoom(MachineSnapshot& snapshot, std::string_view tab, bool zoomed)
{
    if (TabLayout* layout = find(snapshot.layouts, &TabLayout::tabID, tab))
        layout->zoomed = zoomed;
}

void setSplit(MachineSnapshot& snapshot, std::string_view tab, std::string_view split, double ratio)
{
    constexpr double leastChange = 0.002;
    TabLayout* layout = find(snapshot.layouts, &TabLayout::tabID, tab);
    const LayoutSplit* present = layout ? find(layout->splits, &LayoutSplit::id, split) : nullptr;
    if (present && std::abs(present->ratio - ratio) > leastChange)
        *layout = layout->settingSplit(split, ratio);
}

std::optional<std::string> neighbor(const MachineSnapshot& snapshot, std::string_view pane, std::string_view direction)
{
    const auto index = layoutIndex(snapshot, pane);
    if (!index)
        return std::nullopt;
    const std::vector<PaneFrame>& frames = (*snapshot.layouts)[*index].panes;
    const CellRect& rect = std::ranges::find(frames, pane, &PaneFrame::paneID)->rect;
    const PaneFrame* best = nullptr;
    double longest = 0;
    for (const PaneFrame& other : frames) {
        const double shared = other.paneID == pane ? 0 : sharedEdge(rect, other.rect, direction);
        if (shared > longest) {
            best = &other;
            longest = shared;
        }
    }
    return best ? std::optional(best->paneID) : std::nullopt;
}

std::optional<std::string> swapPane(MachineSnapshot& snapshot, std::string_view pane, std::string_view direction)
{
    auto other = neighbor(snapshot, pane, direction);
    if (!other)
        return std::nullopt;
    std::vector<PaneFrame>& frames = (*snapshot.layouts)[*layoutIndex(snapshot, pane)].panes;
    std::swap(find(frames, &PaneFrame::paneID, pane)->rect, find(frames, &PaneFrame::paneID, *other)->rect);
    return other;
}

void removePane(MachineSnapshot& snapshot, std::string_view pane)
{
    removeAll(snapshot.agents, &MuxleAgent::paneID, pane);
    std::erase_if(snapshot.queue, [&](const AttentionItem& item) { return item.fingerprint.paneID == pane; });
    const auto index = layoutIndex(snapshot, pane);
    if (!index)
        return;
    TabLayout& layout = (*snapshot.layouts)[*index];
    removeAll(layout.panes, &PaneFrame::paneID, pane);
    if (layout.focusedPaneID != pane)
        return;
    layout.focusedPaneID.reset();
    if (!layout.panes.empty())
        layout.focusedPaneID = layout.panes.front().paneID;
}

void removeTab(MachineSnapshot& snapshot, std::string_view tab)
{
    removeAll(snapshot.tabs, &MuxleTab::tabID, tab);
    removeAll(snapshot.layouts, &TabLayout::tabID, tab);
    removeAgents(snapshot, &MuxleAgent::tabID, tab);
}

void removeSpace(MachineSnapshot& snapshot, std::string_view space)
{
    removeAll(snapshot.workspaces, &MuxleWorkspace::workspaceID, space);
    removeAll(snapshot.tabs, &MuxleTab::workspaceID, space);
    removeAll(snapshot.layouts, &TabLayout::workspaceID, space);
    removeAgents(snapshot, &MuxleAgent::workspaceID, space);
}

void renamePane(MachineSnapshot& snapshot, std::string_view pane, const std::string& name)
{
    if (MuxleAgent* agent = find(snapshot.agents, &MuxleAgent::paneID, pane))
        agent->name = name;
}

void renameTab(MachineSnapshot& snapshot, std::string_view tab, const std::string& label)
{
    if (MuxleTab* named = find(snapshot.tabs, &MuxleTab::tabID, tab))
        named->label = label;
}

void renameSpace(MachineSnapshot& snapshot, std::string_view space, const std::string& label)
{
    if (MuxleWorkspace* named = find(snapshot.workspaces, &MuxleWorkspace::workspaceID, space))
        named->label = label;
}

void moveSpace(MachineSnapshot& snapshot, std::string_view space, std::int64_t index)
{
    MuxleWorkspace* moved = find(snapshot.workspaces, &MuxleWorkspace::workspaceID, space);
    if (!moved)
        return;
    std::vector<MuxleWorkspace*> all;
    for (MuxleWorkspace& each : snapshot.workspaces)
        all.push_back(&each);
    renumber(std::move(all), moved, index);
}

void moveTab(MachineSnapshot& snapshot, std::string_view tab, std::int64_t index)
{
    MuxleTab* moved = find(snapshot.tabs, &MuxleTab::tabID, tab);
    if (!moved)
        return;
    std::vector<MuxleTab*> siblings;
    for (MuxleTab& each : *snapshot.tabs) {
        if (each.workspaceID == moved->workspaceID)
            siblings.push_back(&each);
    }
    renumber(std::move(siblings), moved, index);
}

} // namespace tarnel::Optimistic
