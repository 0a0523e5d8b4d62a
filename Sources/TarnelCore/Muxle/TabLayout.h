// TarnelCore/Muxle/TabLayout.h: how the panes of one tab are arranged, and the geometry to draw and drag them.
#pragma once
#include "TarnelCore/JSON/Record.h"
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// A region in terminal cells.
struct CellRect {
    std::int64_t x = 0;
    std::int64_t y = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;

    bool operator==(const CellRect&) const = default;
    static constexpr auto fields()
    {
        return std::tuple{Field{"x", &CellRect::x}, Field{"y", &CellRect::y}, Field{"width", &CellRect::width},
            Field{"height", &CellRect::height}};
    }

    /// Reads the multiplexer's form: "width" and "height" are required, "x" and "y" default to 0, all cut off toward zero.
    /// Nothing for numbers that are not finite, do not fit, or are so large that geometry with them would overflow.
    static std::optional<CellRect> fromMuxle(const JSON* json);

    /// Whether `other` lies inside; equal edges count.
    [[nodiscard]] bool contains(const CellRect& other) const;
};

struct PaneFrame {
    std::string paneID;
    CellRect rect;

    bool operator==(const PaneFrame&) const = default;
    static constexpr auto fields()
    {
        return std::tuple{Field{"paneID", &PaneFrame::paneID}, Field{"rect", &PaneFrame::rect}};
    }
};

/// One split of a tab's split tree.
struct LayoutSplit {
    std::string id;
    std::string direction; ///< "right": the halves lie side by side; anything else: one above the other.
    double ratio = 0;      ///< The first half's share, 0 to 1.
    CellRect rect;         ///< The region that the split divides.

    bool operator==(const LayoutSplit&) const = default;
    static constexpr auto fields()
    {
        return std::tuple{Field{"id", &LayoutSplit::id}, Field{"direction", &LayoutSplit::direction},
            Field{"ratio", &LayoutSplit::ratio}, Field{"rect", &LayoutSplit::rect}};
    }

    [[nodiscard]] bool sideBySide() const { return direction == "right"; }
    /// The cell at which the second half begins, along the split's axis; halves of cells round away from zero.
    [[nodiscard]] std::int64_t cut() const;
};

/// A pane's place in the unit square of its tab.
struct UnitFrame {
    std::string paneID;
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    bool operator==(const UnitFrame&) const = default;
};

/// A split's divider in the unit square of its tab.
struct UnitDivider {
    std::string splitID;
    bool sideBySide = false;
    double position = 0;   ///< Of the cut, along the split's axis.
    double axisStart = 0;  ///< The split's extent along that axis.
    double axisLength = 0;
    double crossStart = 0; ///< The split's extent across it.
    double crossLength = 0;
    bool operator==(const UnitDivider&) const = default;

    /// The ratio, 0.1 to 0.9, that the split has when its divider is dragged to `at`.
    [[nodiscard]] double ratio(double at) const;
};

struct TabLayout {
    std::string tabID;
    std::string workspaceID;
    bool zoomed = false; ///< One pane fills the tab.
    std::optional<std::string> focusedPaneID;
    CellRect area;
    std::vector<PaneFrame> panes;
    std::optional<std::vector<LayoutSplit>> splits; ///< The split tree, flattened; absent when the multiplexer sent none.

    bool operator==(const TabLayout&) const = default;
    static constexpr auto fields()
    {
        using T = TabLayout;
        return std::tuple{Field{"tabID", &T::tabID}, Field{"workspaceID", &T::workspaceID}, Field{"zoomed", &T::zoomed},
            Field{"focusedPaneID", &T::focusedPaneID}, Field{"area", &T::area}, Field{"panes", &T::panes},
            Field{"splits", &T::splits}};
    }

    /// No split is set outside this range.
    static constexpr double leastRatio = 0.1;
    static constexpr double greatestRatio = 0.9;

    /// Reads the multiplexer's form; elements that do not read are skipped. Nothing when there is no string "tab_id".
    static std::optional<TabLayout> fromMuxle(const JSON& json);

    [[nodiscard]] std::vector<UnitFrame> unitFrames() const;
    [[nodiscard]] std::vector<UnitDivider> unitDividers() const;
    /// The choices from the outermost split down to `split`: true where it lies in the second half.
    [[nodiscard]] std::vector<bool> path(const LayoutSplit& split) const;
    /// The layout that results from setting a split to `ratio` (clamped); unchanged when there is no such split.
    [[nodiscard]] TabLayout settingSplit(std::string_view id, double ratio) const;
};

} // namespace tarnel
