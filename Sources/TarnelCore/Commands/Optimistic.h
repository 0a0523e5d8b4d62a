// TarnelCore/Commands/Optimistic.h: edits of a snapshot that show a command's effect before the multiplexer does.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Each edit changes the snapshot as the multiplexer is expected to, and does nothing when what it names is not there.
/// Ids are not views of the snapshot's own strings. A direction is "left", "right", "up" or "down". Pure but for the
/// snapshot that is given.
namespace tarnel::Optimistic {

/// The index of the first layout that has a frame of this pane.
std::optional<std::size_t> layoutIndex(const MachineSnapshot& snapshot, std::string_view pane);

/// Focuses an agent's pane, and shows its tab.
void focusPane(MachineSnapshot& snapshot, std::string_view pane);

/// Makes the tab its workspace's active one.
void showTab(MachineSnapshot& snapshot, std::string_view tab);

void setZoom(MachineSnapshot& snapshot, std::string_view tab, bool zoomed);

/// Moves a divider of the tab, unless by less than can be seen.
void setSplit(MachineSnapshot& snapshot, std::string_view tab, std::string_view split, double ratio);

/// The pane next to `pane` in its tab, at most one cell of border away: the one that shares the longest edge with it,
/// of equals the first. Nothing when there is none, or for any other direction.
std::optional<std::string> neighbor(const MachineSnapshot& snapshot, std::string_view pane, std::string_view direction);

/// Lets the pane and its neighbor change places; returns the neighbor, nothing when there is none.
std::optional<std::string> swapPane(MachineSnapshot& snapshot, std::string_view pane, std::string_view direction);

/// Removes the pane's agent, queue items and frame; the first frame that is left gets the focus that the pane had.
void removePane(MachineSnapshot& snapshot, std::string_view pane);

/// Removes the tab with its layout, its agents and their queue items.
void removeTab(MachineSnapshot& snapshot, std::string_view tab);

/// Removes the workspace with its tabs, their layouts, its agents and their queue items.
void removeSpace(MachineSnapshot& snapshot, std::string_view space);

void renamePane(MachineSnapshot& snapshot, std::string_view pane, const std::string& name);
void renameTab(MachineSnapshot& snapshot, std::string_view tab, const std::string& label);
void renameSpace(MachineSnapshot& snapshot, std::string_view space, const std::string& label);

/// Renumbers the workspaces from 1, with this one at `index` (from 0) of their order by number. The list's own order
/// stays. Nothing happens when the index lies outside.
void moveSpace(MachineSnapshot& snapshot, std::string_view space, std::int64_t index);

/// The same with a tab among those of its workspace.
void moveTab(MachineSnapshot& snapshot, std::string_view tab, std::int64_t index);

} // namespace tarnel::Optimistic
