// tarnel/Table.h: rows of cells that fit the terminal.
#pragma once
#include "tarnel/Output.h"
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// A heading and rows below it. Where the width is too small for all columns, the less telling ones are left out.
/// A plain value.
struct Table {
    struct Column {
        std::string_view heading;
        std::size_t weight = 0; ///< Its share when space is short; one of 0 does not give way.
        int dropped = 0; ///< When space is short, columns go in the ascending order of this; one of 0 never goes.
        bool alignsRight = false;
    };
    struct Cell {
        std::string text; ///< One line of plain words.
        Paint paint = Paint::none;
    };
    using Row = std::vector<Cell>; ///< As many cells as there are columns.

    std::vector<Column> columns;
    std::vector<Row> rows;

    /// The heading's line and one for each row, none longer than the style's width, without blanks at their ends.
    [[nodiscard]] std::vector<std::string> lines(const Style& style) const;
};

} // namespace tarnel
