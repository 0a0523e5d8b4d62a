// muxle-tmux/Neighbours.h: which pane lies beside another.
#pragma once
#include "TarnelCore/Muxle/TabLayout.h"
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel::tmux {

enum class Direction { left, right, up, down };

/// By its name: "left", "right", "up" or "down".
std::optional<Direction> directionNamed(std::string_view name);

/// The pane that shares the most of `pane`'s border on that side; nothing at the edge, or when there is no such pane.
std::optional<std::string> neighbour(const std::vector<PaneFrame>& panes, std::string_view pane, Direction side);

} // namespace tarnel::tmux
