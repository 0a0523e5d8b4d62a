// tarnel/StyledRow.h: one line of a full-screen view, before a terminal draws it.
#pragma once
#include "tarnel/Paint.h"
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarnel {

/// A piece of plain words in one look.
struct StyledSpan {
    std::string text;
    Paint paint = Paint::none;
    bool isSelected = false; ///< Drawn in reverse.

    bool operator==(const StyledSpan&) const = default;
};

/// Spans side by side.
struct StyledRow {
    std::vector<StyledSpan> spans;

    bool operator==(const StyledRow&) const = default;

    StyledRow() = default;
    explicit StyledRow(std::string text, Paint paint = Paint::none) { add(std::move(text), paint); }

    /// Appends `text`, as far as there is any.
    StyledRow& add(std::string text, Paint paint = Paint::none);
    StyledRow& add(const StyledRow& row);

    [[nodiscard]] std::size_t width() const; ///< Cells.
    [[nodiscard]] std::string text() const; ///< All spans' text.

    /// The row cut to `cells`, with "…" where anything is left out.
    [[nodiscard]] StyledRow cut(std::size_t cells) const;
    /// `cut`, filled up with spaces to exactly `cells`.
    [[nodiscard]] StyledRow padded(std::size_t cells) const;
    /// Every span selected.
    [[nodiscard]] StyledRow selected() const;
};

} // namespace tarnel
