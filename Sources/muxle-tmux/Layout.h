// muxle-tmux/Layout.h: the arrangement of a window's panes, as tmux writes it.
#pragma once
#include "TarnelCore/Muxle/TabLayout.h"
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel::tmux {

/// A cell of the arrangement: a pane, or a row or column of cells with one column or row of border between neighbours.
struct LayoutCell {
    enum class Kind { pane, row, column };

    Kind kind = Kind::pane;
    CellRect rect;
    std::int64_t pane = 0; ///< The number of a pane's id; of no meaning for rows and columns.
    std::int64_t mark = 0; ///< The number in the id of the border that follows, see `splits` and `takeMarks`.
    std::vector<LayoutCell> cells; ///< Of a row from left to right, of a column from top to bottom; at least two.

    bool operator==(const LayoutCell&) const = default;
};

/// A layout string: "b25d,80x24,0,0{40x24,0,0,1,39x24,41,0,2}". Pure.
namespace Layout {

/// Nothing when `text` has another form. The checksum is not compared.
std::optional<LayoutCell> parse(std::string_view text);

/// The layout string, with its checksum.
std::string written(const LayoutCell& root);

/// The panes by number, so that each keeps its place in the list where two change theirs on the screen.
std::vector<PaneFrame> panes(const LayoutCell& root);

/// Every border as the split of two halves: what stands before it in its row or column, and all that follows. A split's
/// id carries the mark of the pane right before the border in the order of the string, which no other border shares.
std::vector<LayoutSplit> splits(const LayoutCell& root);

/// Gives the panes of `root` the marks that they had in the `former` layouts of their server: a pane's own number at
/// first. Where the panes of `sameWindow`, one of those, have only changed places, the marks stay where they are, since
/// the borders do. Marks stay different from each other.
void takeMarks(LayoutCell& root, const std::vector<const LayoutCell*>& former, const LayoutCell* sameWindow);

/// The arrangement with the split `id` at `ratio`, or as near as its panes allow; the cells on each side keep their
/// shares of it. Nothing when there is no such split.
std::optional<LayoutCell> settingSplit(const LayoutCell& root, std::string_view id, double ratio);

} // namespace Layout

} // namespace tarnel::tmux
