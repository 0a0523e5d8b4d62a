#include "tarnel/Table.h"
#include "TarnelCore/Base/TerminalText.h"
#include <algorithm>

namespace tarnel {

namespace {

constexpr std::string_view gap = "  ";
constexpr std::size_t leastShare = 8; // cells of a text column; with less, a column is better left out

/// A column that is shown, and its cells' width.
struct Shown {
    std::size_t index = 0;
    const Table::Column* column = nullptr;
    std::size_t natural = 0; // cells of its widest text
    std::size_t width = 0;
};

std::string fitted(std::string_view text, const Shown& shown)
{
    if (!shown.column->alignsRight)
        return TerminalText::padded(text, shown.width);
    const std::string cut = TerminalText::cut(text, shown.width);
    return std::string(shown.width - std::min(shown.width, TerminalText::width(cut)), ' ') + cut;
}

/// Shares `left` cells among `columns` by their weights, none getting more than it needs: what one does not need goes
/// to the others. Returns false when one that is cut gets too little to say anything.
bool share(std::size_t left, std::vector<Shown*> columns)
{
    const auto needsLess = [](const Shown* a, const Shown* b) {
        return a->width * b->column->weight < b->width * a->column->weight;
    };
    std::sort(columns.begin(), columns.end(), needsLess);
    std::size_t weights = 0;
    for (const Shown* shown : columns)
        weights += shown->column->weight;
    bool isLegible = true;
    for (Shown* shown : columns) {
        const std::size_t most = left * shown->column->weight / weights;
        isLegible = isLegible && (shown->width <= most || most >= leastShare);
        shown->width = std::min(shown->width, most);
        left -= shown->width;
        weights -= shown->column->weight;
    }
    return isLegible;
}

/// Sets the widths so that all fit.
bool fit(std::vector<Shown>& columns, std::size_t available)
{
    std::size_t left = available - std::min(available, gap.size() * (columns.size() - 1));
    bool isWhole = true;
    std::vector<Shown*> flexible;
    for (Shown& shown : columns) {
        shown.width = std::min(shown.natural, available);
        if (shown.column->weight > 0) {
            flexible.push_back(&shown);
            continue;
        }
        isWhole = isWhole && shown.width <= left;
        shown.width = std::min(shown.width, left);
        left -= shown.width;
    }
    return share(left, std::move(flexible)) && isWhole;
}

/// The column to leave out next; `columns.end()` when none may go.
std::vector<Shown>::iterator leastTelling(std::vector<Shown>& columns)
{
    auto found = columns.end();
    for (auto each = columns.begin(); each != columns.end(); ++each) {
        if (each->column->dropped > 0 && (found == columns.end() || each->column->dropped < found->column->dropped))
            found = each;
    }
    return found;
}

std::vector<Shown> layOut(const Table& table, std::size_t available)
{
    std::vector<Shown> shown;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        Shown column{.index = i, .column = &table.columns[i], .natural = TerminalText::width(table.columns[i].heading)};
        for (const Table::Row& row : table.rows)
            column.natural = std::max(column.natural, TerminalText::width(row[i].text));
        shown.push_back(column);
    }
    while (!fit(shown, available)) {
        const auto dropped = leastTelling(shown);
        if (dropped == shown.end())
            break;
        shown.erase(dropped);
    }
    return shown;
}

std::string withoutEnd(std::string line)
{
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

} // namespace

std::vector<std::string> Table::lines(const Style& style) const
{
    const std::vector<Shown> shown = layOut(*this, style.width);
    std::string heading;
    for (const Shown& column : shown)
        heading += std::string(heading.empty() ? "" : gap) + fitted(column.column->heading, column);
    std::vector<std::string> result{style.painted(withoutEnd(std::move(heading)), Paint::dim)};
    for (const Row& row : rows) {
        std::string line;
        for (const Shown& column : shown) {
            const Cell& cell = row[column.index];
            line += &column == &shown.front() ? "" : gap;
            line += style.painted(fitted(cell.text, column), cell.paint);
        }
        result.push_back(withoutEnd(std::move(line)));
    }
    return result;
}

} // namespace tarnel
