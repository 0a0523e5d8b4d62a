#include "muxle-tmux/Layout.h"
#include "muxle-tmux/Names.h"
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <map>
#include <set>

namespace tarnel::tmux {

namespace {

constexpr int deepest = 100; // cells inside cells; more than any screen has room for
constexpr std::int64_t largest = 100'000; // columns or rows
constexpr std::int64_t border = 1; // between two cells

/// Reads a layout string from its start to its end.
class Reader {
public:
    explicit Reader(std::string_view layout)
        : text(layout)
    {
    }

    std::optional<LayoutCell> cell(int depth = 0)
    {
        LayoutCell cell;
        if (depth > deepest
            || !(number(cell.rect.width) && skip('x') && number(cell.rect.height) && skip(',') && number(cell.rect.x)
                && skip(',') && number(cell.rect.y)))
            return std::nullopt;
        if (skip('{'))
            return children(std::move(cell), LayoutCell::Kind::row, '}', depth);
        if (skip('['))
            return children(std::move(cell), LayoutCell::Kind::column, ']', depth);
        if (!skip(',') || !number(cell.pane))
            return std::nullopt;
        cell.mark = cell.pane;
        return cell;
    }

    [[nodiscard]] bool isAtEnd() const { return text.empty(); }

private:
    std::optional<LayoutCell> children(LayoutCell parent, LayoutCell::Kind kind, char closing, int depth)
    {
        parent.kind = kind;
        do {
            auto child = cell(depth + 1);
            if (!child)
                return std::nullopt;
            parent.cells.push_back(*std::move(child));
        } while (skip(','));
        return skip(closing) && parent.cells.size() >= 2 ? std::optional(std::move(parent)) : std::nullopt;
    }

    bool number(std::int64_t& value)
    {
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc() || value < 0 || value > (std::int64_t{1} << 32))
            return false;
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        return true;
    }

    bool skip(char expected)
    {
        if (text.empty() || text.front() != expected)
            return false;
        text.remove_prefix(1);
        return true;
    }

    std::string_view text;
};

bool fits(const LayoutCell& cell)
{
    const CellRect& rect = cell.rect;
    return rect.x <= largest && rect.y <= largest && rect.width >= 1 && rect.width <= largest && rect.height >= 1
        && rect.height <= largest && std::all_of(cell.cells.begin(), cell.cells.end(), fits);
}

void write(std::string& text, const LayoutCell& cell)
{
    const CellRect& rect = cell.rect;
    text += std::to_string(rect.width) + "x" + std::to_string(rect.height) + "," + std::to_string(rect.x) + ","
        + std::to_string(rect.y);
    if (cell.kind == LayoutCell::Kind::pane) {
        text += "," + std::to_string(cell.pane);
        return;
    }
    text += cell.kind == LayoutCell::Kind::row ? '{' : '[';
    for (std::size_t i = 0; i < cell.cells.size(); ++i) {
        if (i > 0)
            text += ',';
        write(text, cell.cells[i]);
    }
    text += cell.kind == LayoutCell::Kind::row ? '}' : ']';
}

/// tmux's own: a sum that rotates by one bit before each character.
unsigned checksum(std::string_view text)
{
    unsigned sum = 0;
    for (const char each : text)
        sum = ((sum >> 1) + ((sum & 1) << 15) + static_cast<unsigned char>(each)) & 0xFFFF;
    return sum;
}

/// The cells of panes in the order of the string.
template <class Cell> void addLeaves(Cell& cell, std::vector<Cell*>& leaves)
{
    if (cell.kind == LayoutCell::Kind::pane)
        leaves.push_back(&cell);
    for (auto& child : cell.cells)
        addLeaves(child, leaves);
}

template <class Cell> std::vector<Cell*> leavesOf(Cell& cell)
{
    std::vector<Cell*> leaves;
    addLeaves(cell, leaves);
    return leaves;
}

/// Whether the two are the same rows and columns of as many cells, whatever their sizes.
bool haveSameShape(const LayoutCell& one, const LayoutCell& other)
{
    return one.kind == other.kind
        && std::equal(one.cells.begin(), one.cells.end(), other.cells.begin(), other.cells.end(), haveSameShape);
}

std::set<std::int64_t> panesIn(const LayoutCell& cell)
{
    std::set<std::int64_t> panes;
    for (const LayoutCell* each : leavesOf(cell))
        panes.insert(each->pane);
    return panes;
}

std::int64_t lastMark(const LayoutCell& cell) { return cell.cells.empty() ? cell.mark : lastMark(cell.cells.back()); }

/// A rect's place and length along one axis.
struct Axis {
    std::int64_t CellRect::*start;
    std::int64_t CellRect::*length;
};
constexpr Axis horizontal{&CellRect::x, &CellRect::width};
constexpr Axis vertical{&CellRect::y, &CellRect::height};

Axis axisOf(const LayoutCell& parent) { return parent.kind == LayoutCell::Kind::row ? horizontal : vertical; }

/// What the border behind the cell `index` of `parent` splits.
CellRect splitRect(const LayoutCell& parent, std::size_t index)
{
    const Axis axis = axisOf(parent);
    CellRect rect = parent.rect;
    const CellRect& first = parent.cells[index].rect;
    rect.*axis.length -= first.*axis.start - rect.*axis.start;
    rect.*axis.start = first.*axis.start;
    return rect;
}

void addSplits(const LayoutCell& cell, std::vector<LayoutSplit>& splits)
{
    for (std::size_t i = 0; i < cell.cells.size(); ++i) {
        if (i + 1 < cell.cells.size()) {
            const Axis axis = axisOf(cell);
            const CellRect rect = splitRect(cell, i);
            const std::int64_t before = cell.cells[i + 1].rect.*axis.start - rect.*axis.start;
            splits.push_back({splitID(lastMark(cell.cells[i])), cell.kind == LayoutCell::Kind::row ? "right" : "down",
                static_cast<double>(before) / static_cast<double>(rect.*axis.length), rect});
        }
        addSplits(cell.cells[i], splits);
    }
}

/// The least length that a cell can have along an axis: one for each pane, and the borders between them.
std::int64_t least(const LayoutCell& cell, Axis axis)
{
    if (cell.cells.empty())
        return 1;
    std::int64_t sum = 0;
    std::int64_t most = 1;
    for (const LayoutCell& child : cell.cells) {
        sum += least(child, axis);
        most = std::max(most, least(child, axis));
    }
    const bool isAlong = axisOf(cell).start == axis.start;
    return isAlong ? sum + border * (static_cast<std::int64_t>(cell.cells.size()) - 1) : most;
}

void place(LayoutCell& cell, Axis axis, std::int64_t start, std::int64_t length);

/// Lays `count` cells from `first` on over `length`, each by its present share, none below its least.
void distribute(LayoutCell* first, std::size_t count, Axis axis, std::int64_t start, std::int64_t length)
{
    std::int64_t present = 0;
    std::int64_t leastOfRest = 0;
    for (std::size_t i = 0; i < count; ++i) {
        present += first[i].rect.*axis.length + (i > 0 ? border : 0);
        leastOfRest += least(first[i], axis) + (i > 0 ? border : 0);
    }
    for (std::size_t i = 0; i < count; ++i) {
        LayoutCell& cell = first[i];
        const std::int64_t own = cell.rect.*axis.length;
        const std::int64_t leastOfOwn = least(cell, axis);
        const bool isLast = i + 1 == count;
        const std::int64_t share = isLast
            ? length
            : std::llround(static_cast<double>(length) * static_cast<double>(own) / static_cast<double>(present));
        leastOfRest -= leastOfOwn + (isLast ? 0 : border);
        const std::int64_t most = isLast ? length : length - leastOfRest - border;
        const std::int64_t taken = std::clamp(share, leastOfOwn, std::max(leastOfOwn, most));
        place(cell, axis, start, taken);
        start += taken + border;
        length -= taken + border;
        present -= own + border;
    }
}

/// Moves and stretches a cell, and all inside it.
void place(LayoutCell& cell, Axis axis, std::int64_t start, std::int64_t length)
{
    if (!cell.cells.empty() && axisOf(cell).start == axis.start) {
        distribute(cell.cells.data(), cell.cells.size(), axis, start, length);
    } else {
        for (LayoutCell& child : cell.cells)
            place(child, axis, start, length);
    }
    cell.rect.*axis.start = start;
    cell.rect.*axis.length = length;
}

bool setSplit(LayoutCell& cell, std::string_view id, double ratio)
{
    for (std::size_t i = 0; i < cell.cells.size(); ++i) {
        if (i + 1 == cell.cells.size() || splitID(lastMark(cell.cells[i])) != id) {
            if (setSplit(cell.cells[i], id, ratio))
                return true;
            continue;
        }
        const Axis axis = axisOf(cell);
        const CellRect rect = splitRect(cell, i);
        const std::int64_t start = rect.*axis.start;
        const std::int64_t length = rect.*axis.length;
        std::int64_t leastAfter = 0;
        for (std::size_t after = i + 1; after < cell.cells.size(); ++after)
            leastAfter += border + least(cell.cells[after], axis);
        const std::int64_t leastBefore = least(cell.cells[i], axis);
        const std::int64_t wanted = std::llround(ratio * static_cast<double>(length)) - border;
        const std::int64_t before = std::clamp(wanted, leastBefore, std::max(leastBefore, length - leastAfter));
        place(cell.cells[i], axis, start, before);
        distribute(
            &cell.cells[i + 1], cell.cells.size() - i - 1, axis, start + before + border, length - before - border);
        return true;
    }
    return false;
}

} // namespace

std::optional<LayoutCell> Layout::parse(std::string_view text)
{
    const std::size_t comma = text.find(',');
    if (comma == text.npos)
        return std::nullopt;
    Reader reader(text.substr(comma + 1));
    auto root = reader.cell();
    return root && reader.isAtEnd() && fits(*root) ? root : std::nullopt;
}

std::string Layout::written(const LayoutCell& root)
{
    std::string text;
    write(text, root);
    char sum[8];
    std::snprintf(sum, sizeof sum, "%04x", checksum(text));
    return std::string(sum) + "," + text;
}

std::vector<PaneFrame> Layout::panes(const LayoutCell& root)
{
    auto leaves = leavesOf(root);
    std::ranges::sort(leaves, {}, &LayoutCell::pane);
    std::vector<PaneFrame> panes;
    for (const LayoutCell* each : leaves)
        panes.push_back({paneID(each->pane), each->rect});
    return panes;
}

std::vector<LayoutSplit> Layout::splits(const LayoutCell& root)
{
    std::vector<LayoutSplit> splits;
    addSplits(root, splits);
    return splits;
}

void Layout::takeMarks(LayoutCell& root, const std::vector<const LayoutCell*>& former, const LayoutCell* sameWindow)
{
    const auto leaves = leavesOf(root);
    if (sameWindow && haveSameShape(root, *sameWindow) && panesIn(root) == panesIn(*sameWindow)) {
        const auto places = leavesOf(*sameWindow);
        for (std::size_t i = 0; i < leaves.size(); ++i)
            leaves[i]->mark = places[i]->mark;
        return;
    }
    std::map<std::int64_t, std::int64_t> marks;
    for (const LayoutCell* layout : former) {
        for (const LayoutCell* each : leavesOf(*layout))
            marks[each->pane] = each->mark;
    }
    for (LayoutCell* each : leaves) {
        const auto mark = marks.find(each->pane);
        each->mark = mark == marks.end() ? each->pane : mark->second;
    }
}

std::optional<LayoutCell> Layout::settingSplit(const LayoutCell& root, std::string_view id, double ratio)
{
    LayoutCell changed = root;
    if (!setSplit(changed, id, std::clamp(ratio, TabLayout::leastRatio, TabLayout::greatestRatio)))
        return std::nullopt;
    return changed;
}

} // namespace tarnel::tmux
