#include "tarnel/QueueTable.h"
#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include "tarnel/Paint.h"
#include <algorithm>
#include <array>
#include <utility>

namespace tarnel {

namespace {

constexpr std::string_view gap = "  ";
constexpr std::size_t leastShare = 8; // cells of a text column; with less, a column is better left out

/// The last line of a screen that holds anything to read.
std::string lastLine(const std::string& screen)
{
    const auto lines = Text::split(screen, '\n');
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
        if (std::string plain = TerminalText::plainLine(*line); !plain.empty())
            return plain;
    }
    return {};
}

/// The most telling line that the item has.
std::string askedLine(const AttentionItem& item)
{
    for (const auto& text : {item.questionText(), item.card.lastMessage, item.card.asked}) {
        if (std::string plain = TerminalText::plainLine(text.value_or("")); !plain.empty())
            return plain;
    }
    return lastLine(item.card.screenTail.value_or(""));
}

/// One column: its cells from the heading down, and how it is drawn.
struct Column {
    std::string_view heading;
    std::vector<std::string> cells;
    std::size_t weight = 0; // its share when space is short; one of 0 does not give way
    bool alignsRight = false;
    std::size_t width = 0;

    [[nodiscard]] std::size_t naturalWidth() const
    {
        std::size_t widest = TerminalText::width(heading);
        for (const std::string& cell : cells)
            widest = std::max(widest, TerminalText::width(cell));
        return widest;
    }

    [[nodiscard]] std::string fitted(std::string_view text) const
    {
        if (!alignsRight)
            return TerminalText::padded(text, width);
        const std::string cut = TerminalText::cut(text, width);
        return std::string(width - std::min(width, TerminalText::width(cut)), ' ') + cut;
    }
};

enum ColumnIndex : std::size_t { kindColumn, spaceColumn, titleColumn, askedColumn, waitingColumn, columnCount };

using Columns = std::array<Column, columnCount>;

Columns columnsOf(const std::vector<QueueRow>& rows, Timestamp now)
{
    Columns columns{Column{.heading = "KIND"}, Column{.heading = "SPACE", .weight = 2},
        Column{.heading = "TITLE", .weight = 3}, Column{.heading = "ASKED", .weight = 5},
        Column{.heading = "WAITING", .alignsRight = true}};
    for (const QueueRow& row : rows) {
        columns[kindColumn].cells.push_back("● " + std::string(title(row.kind)));
        columns[spaceColumn].cells.push_back(row.space);
        columns[titleColumn].cells.push_back(row.title);
        columns[askedColumn].cells.push_back(row.asked);
        columns[waitingColumn].cells.push_back(
            row.waitingSince ? QueueTable::briefDuration(now - *row.waitingSince) : "");
    }
    return columns;
}

/// Shares `left` cells among `columns` by their weights, none getting more than it needs: what one does not need goes
/// to the others. Returns false when one that is cut gets too little to say anything.
bool share(std::size_t left, std::vector<Column*> columns)
{
    const auto needsLess = [](const Column* a, const Column* b) { return a->width * b->weight < b->width * a->weight; };
    std::sort(columns.begin(), columns.end(), needsLess);
    std::size_t weights = 0;
    for (const Column* column : columns)
        weights += column->weight;
    bool isLegible = true;
    for (Column* column : columns) {
        const std::size_t most = left * column->weight / weights;
        isLegible = isLegible && (column->width <= most || most >= leastShare);
        column->width = std::min(column->width, most);
        left -= column->width;
        weights -= column->weight;
    }
    return isLegible;
}

/// Sets the widths of the shown columns so that all fit.
bool fit(Columns& columns, const std::vector<ColumnIndex>& shown, std::size_t available)
{
    std::size_t left = available - std::min(available, gap.size() * (shown.size() - 1));
    std::vector<Column*> flexible;
    for (const ColumnIndex index : shown) {
        Column& column = columns[index];
        column.width = std::min(column.naturalWidth(), available);
        if (column.weight > 0)
            flexible.push_back(&column);
        else
            left -= std::min(left, column.width);
    }
    return share(left, std::move(flexible));
}

/// The columns that are shown, their widths set: those that there is room for, the more telling ones first.
std::vector<const Column*> layOut(Columns& columns, std::size_t available)
{
    std::vector<ColumnIndex> shown{kindColumn, spaceColumn, titleColumn, askedColumn, waitingColumn};
    for (const ColumnIndex dropped : {spaceColumn, waitingColumn, titleColumn, kindColumn}) {
        if (fit(columns, shown, available))
            break;
        std::erase(shown, dropped);
    }
    fit(columns, shown, available);
    std::vector<const Column*> result;
    for (const ColumnIndex index : shown)
        result.push_back(&columns[index]);
    return result;
}

std::string joinedLine(std::string line)
{
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

} // namespace

Paint QueueTable::paintOf(AttentionKind kind)
{
    switch (kind) {
    case AttentionKind::question:
        return Paint::magenta;
    case AttentionKind::plan:
        return Paint::blue;
    case AttentionKind::permission:
    case AttentionKind::blocked:
    case AttentionKind::asking:
        return Paint::yellow;
    case AttentionKind::finished:
        return Paint::green;
    case AttentionKind::error:
        return Paint::red;
    }
    return Paint::none;
}

QueueRow QueueRow::of(const AttentionItem& item)
{
    return {.paneID = item.card.paneID,
        .kind = item.kind,
        .space = TerminalText::plainLine(item.card.space),
        .title = TerminalText::plainLine(item.card.title),
        .asked = askedLine(item),
        .waitingSince = item.waitingSince};
}

std::vector<QueueRow> QueueTable::rows(const std::vector<AttentionItem>& queue)
{
    std::vector<QueueRow> made;
    made.reserve(queue.size());
    for (const AttentionItem& item : queue)
        made.push_back(QueueRow::of(item));
    return made;
}

std::vector<std::string> QueueTable::lines(const std::vector<QueueRow>& rows, Timestamp now, const Style& style)
{
    Columns columns = columnsOf(rows, now);
    const std::vector<const Column*> shown = layOut(columns, style.width);
    std::vector<std::string> lines;
    std::string heading;
    for (const Column* column : shown)
        heading += (column == shown.front() ? "" : gap.data()) + column->fitted(column->heading);
    lines.push_back(painted(joinedLine(heading), Paint::dim, style.hasColor));
    for (std::size_t i = 0; i < rows.size(); ++i) {
        std::string line;
        for (const Column* column : shown) {
            Paint paint = Paint::none;
            if (column == &columns[kindColumn])
                paint = QueueTable::paintOf(rows[i].kind);
            else if (column == &columns[titleColumn])
                paint = Paint::bold;
            else if (column != &columns[askedColumn])
                paint = Paint::dim;
            line += column == shown.front() ? "" : gap.data();
            line += painted(column->fitted(column->cells[i]), paint, style.hasColor);
        }
        lines.push_back(joinedLine(line));
    }
    return lines;
}

std::string QueueTable::briefDuration(Timestamp::duration duration)
{
    const auto seconds = std::max<std::int64_t>(0, std::chrono::floor<std::chrono::seconds>(duration).count());
    constexpr std::array<std::pair<std::int64_t, std::string_view>, 3> units{{{86400, " d"}, {3600, " h"}, {60, " m"}}};
    for (const auto& [length, name] : units) {
        if (seconds >= length)
            return std::to_string(seconds / length) + std::string(name);
    }
    return std::to_string(seconds) + " s";
}

} // namespace tarnel
