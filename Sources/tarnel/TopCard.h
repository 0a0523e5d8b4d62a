// tarnel/TopCard.h: the chosen item in full.
#pragma once
#include "TarnelCore/Base/Timestamp.h"
#include "tarnel/StyledRow.h"
#include "tarnel/TopState.h"
#include <cstddef>
#include <vector>

namespace tarnel {

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
