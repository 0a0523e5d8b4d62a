// tarnel/TopScreen.h: the full-screen view as rows of text.
#pragma once
#include "tarnel/StyledRow.h"
#include "tarnel/TopState.h"
#include <cstddef>
#include <optional>
#include <vector>

namespace tarnel {

struct TopScreen {
    struct Cursor {
        std::size_t row = 0;
        std::size_t column = 0;
        bool operator==(const Cursor&) const = default;
    };

    std::vector<StyledRow> rows; ///< As many as the screen has, none wider than it.
    std::optional<Cursor> cursor; ///< Where text is typed.

    bool operator==(const TopScreen&) const = default;

    /// Pure.
    static TopScreen of(const TopState& state, Timestamp now);
};

} // namespace tarnel
