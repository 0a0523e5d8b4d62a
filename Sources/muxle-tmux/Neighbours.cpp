#include "muxle-tmux/Neighbours.h"
#include <algorithm>

namespace tarnel::tmux {

namespace {

/// How much two stretches have in common; not positive when nothing.
std::int64_t overlap(std::int64_t start, std::int64_t length, std::int64_t otherStart, std::int64_t otherLength)
{
    return std::min(start + length, otherStart + otherLength) - std::max(start, otherStart);
}

/// Whether `other` begins, one border apart, where `rect` ends on that side.
bool touches(const CellRect& rect, const CellRect& other, Direction side)
{
    switch (side) {
    case Direction::left:
        return other.x + other.width + 1 == rect.x;
    case Direction::right:
        return rect.x + rect.width + 1 == other.x;
    case Direction::up:
        return other.y + other.height + 1 == rect.y;
    case Direction::down:
        return rect.y + rect.height + 1 == other.y;
    }
    return false;
}

} // namespace

std::optional<Direction> directionNamed(std::string_view name)
{
    if (name == "left")
        return Direction::left;
    if (name == "right")
        return Direction::right;
    if (name == "up")
        return Direction::up;
    if (name == "down")
        return Direction::down;
    return std::nullopt;
}

std::optional<std::string> neighbour(const std::vector<PaneFrame>& panes, std::string_view pane, Direction side)
{
    const auto own =
        std::find_if(panes.begin(), panes.end(), [&](const PaneFrame& each) { return each.paneID == pane; });
    if (own == panes.end())
        return std::nullopt;
    const CellRect& rect = own->rect;
    const bool isSideways = side == Direction::left || side == Direction::right;
    const PaneFrame* best = nullptr;
    std::int64_t most = 0;
    for (const PaneFrame& each : panes) {
        const CellRect& other = each.rect;
        const std::int64_t shared = isSideways ? overlap(rect.y, rect.height, other.y, other.height)
                                               : overlap(rect.x, rect.width, other.x, other.width);
        if (touches(rect, other, side) && shared > most) {
            best = &each;
            most = shared;
        }
    }
    return best ? std::optional(best->paneID) : std::nullopt;
}

} // namespace tarnel::tmux
