// tarnel/TopLayout.h: where things stand in the full-screen view.
#pragma once
#include "tarnel/StyledRow.h"
#include "tarnel/TopState.h"
#include <cstddef>
#include <vector>

namespace tarnel {

/// Cells and lines of the view's parts. One that has none is not shown.
struct TopLayout {
    std::size_t headingRows = 0; ///< 0 or 1, like the footer's.
    std::size_t paneRows = 0;
    std::size_t noticeRows = 0; ///< As many as the notice takes, within reason; 1 where there is none.
    std::size_t footerRows = 0;
    std::size_t queueColumns = 0;
    std::size_t gapColumns = 0; ///< Between the panes.
    std::size_t cardColumns = 0;

    static TopLayout of(const TopState& state);
};

/// The card of the chosen item.
struct TopCard {
    std::vector<StyledRow> body; ///< Scrolled where it is too long.
    std::vector<StyledRow> foot; ///< Always in sight: what can be answered.
    std::size_t asksAt =
        0; ///< The line of the body with which that starts what the agent asks; 0 when it asks nothing.

    /// What is shown in `rows` lines of `columns` cells. Pure.
    static TopCard of(const TopState& state, Timestamp now, std::size_t columns, std::size_t rows);

    /// The first line of the body that is shown where there is room for `rows` of it: where the user has scrolled to,
    /// and before that, when not all fits, where the agent asks.
    [[nodiscard]] std::size_t top(const TopState& state, std::size_t rows) const;
};

} // namespace tarnel
