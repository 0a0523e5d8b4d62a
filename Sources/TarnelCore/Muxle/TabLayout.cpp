#include "TarnelCore/Muxle/TabLayout.h"
#include <algorithm>
#include <cmath>
#include <limits>

namespace tarnel {

namespace {

// The geometry is done in doubles: they hold every sum and product of sane cells exactly, and with wild numbers, which
// a client may send, they lose precision where integers would overflow.

/// The largest coordinate or size that is taken from the multiplexer, far beyond any terminal.
constexpr std::int64_t mostCells = std::int64_t{1} << 40;

/// Up to here a double holds every integer.
constexpr double exactLimit = 9007199254740992.0;

double real(std::int64_t cells) { return static_cast<double>(cells); }

std::int64_t cells(double value)
{
    return static_cast<std::int64_t>(
        std::fmin(std::fmax(value, -exactLimit), exactLimit)); // also for what is no number
}

double clampedRatio(double ratio)
{
    return std::fmin(std::fmax(ratio, TabLayout::leastRatio), TabLayout::greatestRatio);
}

std::optional<std::int64_t> cellsFromMuxle(const JSON& number)
{
    const auto value = number.integer();
    return value && *value >= -mostCells && *value <= mostCells ? value : std::nullopt;
}

/// Where a rect begins and how long it is along one axis.
struct Span {
    std::int64_t start = 0;
    std::int64_t length = 0;
};

Span along(const CellRect& rect, bool sideBySide)
{
    return sideBySide ? Span{rect.x, rect.width} : Span{rect.y, rect.height};
}

bool contains(Span outer, Span inner)
{
    return outer.start <= inner.start
        && real(inner.start) + real(inner.length) <= real(outer.start) + real(outer.length);
}

double cellCount(const CellRect& rect) { return real(rect.width) * real(rect.height); }

/// The map of coordinates along a split's axis that moves its cut and keeps its ends.
struct Stretch {
    double start = 0;
    double end = 0;
    double oldCut = 0;
    double newCut = 0;

    [[nodiscard]] double operator()(double c) const
    {
        if (c > oldCut)
            return newCut + std::round((end - newCut) * (c - oldCut) / std::fmax(end - oldCut, 1));
        return start + std::round((newCut - start) * (c - start) / std::fmax(oldCut - start, 1));
    }

    void apply(CellRect& rect, bool sideBySide) const
    {
        const Span old = along(rect, sideBySide);
        const double moved = (*this)(real(old.start));
        const double length = (*this)(real(old.start) + real(old.length)) - moved;
        (sideBySide ? rect.x : rect.y) = cells(moved);
        (sideBySide ? rect.width : rect.height) = cells(length);
    }
};

/// A tab's area, to which frames and dividers are related.
struct Unit {
    explicit Unit(const CellRect& area)
        : left(real(area.x))
        , top(real(area.y))
        , width(std::fmax(real(area.width), 1))
        , height(std::fmax(real(area.height), 1))
    {
    }
    [[nodiscard]] double x(std::int64_t at) const { return (real(at) - left) / width; }
    [[nodiscard]] double y(std::int64_t at) const { return (real(at) - top) / height; }
    [[nodiscard]] double w(std::int64_t length) const { return real(length) / width; }
    [[nodiscard]] double h(std::int64_t length) const { return real(length) / height; }

    double left;
    double top;
    double width;
    double height;
};

CellRect boundingBox(const std::vector<PaneFrame>& panes)
{
    if (panes.empty())
        return {};
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    std::int64_t left = most, top = most, right = -most, bottom = -most;
    for (const PaneFrame& pane : panes) {
        left = std::min(left, pane.rect.x);
        top = std::min(top, pane.rect.y);
        right = std::max(right, pane.rect.x + pane.rect.width);
        bottom = std::max(bottom, pane.rect.y + pane.rect.height);
    }
    return {left, top, right - left, bottom - top};
}

std::optional<PaneFrame> paneFromMuxle(const JSON& json)
{
    auto paneID = stringOf(json["pane_id"]);
    const auto rect = CellRect::fromMuxle(json["rect"]);
    if (!paneID || !rect)
        return std::nullopt;
    return PaneFrame{*std::move(paneID), *rect};
}

std::optional<LayoutSplit> splitFromMuxle(const JSON& json)
{
    auto id = stringOf(json["id"]);
    auto direction = stringOf(json["direction"]);
    const auto ratio = numberOf(json["ratio"]);
    const auto rect = CellRect::fromMuxle(json["rect"]);
    if (!id || !direction || !ratio || !std::isfinite(*ratio) || !rect)
        return std::nullopt;
    return LayoutSplit{*std::move(id), *std::move(direction), *ratio, *rect};
}

template <class T> std::vector<T> elements(const JSON::Array& list, std::optional<T> (*read)(const JSON&))
{
    std::vector<T> decoded;
    for (const JSON& each : list) {
        if (auto value = read(each))
            decoded.push_back(*std::move(value));
    }
    return decoded;
}

} // namespace

std::optional<CellRect> CellRect::fromMuxle(const JSON* json)
{
    if (!json || !numberOf((*json)["width"]) || !numberOf((*json)["height"]))
        return std::nullopt;
    CellRect rect;
    const std::pair<const char*, std::int64_t*> members[] = {
        {"x", &rect.x}, {"y", &rect.y}, {"width", &rect.width}, {"height", &rect.height}};
    for (const auto& [name, member] : members) {
        const JSON* number = (*json)[name];
        if (!numberOf(number))
            continue; // no position: at the origin
        const auto value = cellsFromMuxle(*number);
        if (!value)
            return std::nullopt;
        *member = *value;
    }
    return rect;
}

bool CellRect::contains(const CellRect& other) const
{
    return tarnel::contains(along(*this, true), along(other, true))
        && tarnel::contains(along(*this, false), along(other, false));
}

std::int64_t LayoutSplit::cut() const
{
    const Span span = along(rect, sideBySide());
    return cells(real(span.start) + std::round(ratio * real(span.length)));
}

double UnitDivider::ratio(double at) const
{
    return clampedRatio((at - axisStart) / std::fmax(axisLength, std::numeric_limits<double>::epsilon()));
}

std::optional<TabLayout> TabLayout::fromMuxle(const JSON& json)
{
    auto tabID = stringOf(json["tab_id"]);
    if (!tabID)
        return std::nullopt;
    const auto list = [&](const char* name) {
        const JSON* member = json[name];
        return member ? member->array() : nullptr;
    };
    TabLayout layout;
    layout.tabID = *std::move(tabID);
    layout.workspaceID = stringOf(json["workspace_id"]).value_or("");
    layout.zoomed = booleanOf(json["zoomed"]).value_or(false);
    layout.focusedPaneID = stringOf(json["focused_pane_id"]);
    if (const JSON::Array* panes = list("panes"))
        layout.panes = elements(*panes, paneFromMuxle);
    const auto area = CellRect::fromMuxle(json["area"]);
    layout.area = area ? *area : boundingBox(layout.panes);
    if (const JSON::Array* splits = list("splits"))
        layout.splits = elements(*splits, splitFromMuxle);
    return layout;
}

std::vector<UnitFrame> TabLayout::unitFrames() const
{
    const auto focused =
        std::find_if(panes.begin(), panes.end(), [&](const PaneFrame& pane) { return focusedPaneID == pane.paneID; });
    if (zoomed && focused != panes.end())
        return {{focused->paneID, 0, 0, 1, 1}};
    const Unit unit(area);
    std::vector<UnitFrame> frames;
    frames.reserve(panes.size());
    for (const auto& [paneID, rect] : panes)
        frames.push_back({paneID, unit.x(rect.x), unit.y(rect.y), unit.w(rect.width), unit.h(rect.height)});
    return frames;
}

std::vector<UnitDivider> TabLayout::unitDividers() const
{
    if (zoomed || !splits)
        return {};
    const Unit unit(area);
    std::vector<UnitDivider> dividers;
    dividers.reserve(splits->size());
    for (const LayoutSplit& split : *splits) {
        const CellRect& rect = split.rect;
        if (split.sideBySide())
            dividers.push_back({split.id, true, unit.x(split.cut()), unit.x(rect.x), unit.w(rect.width), unit.y(rect.y),
                unit.h(rect.height)});
        else
            dividers.push_back({split.id, false, unit.y(split.cut()), unit.y(rect.y), unit.h(rect.height),
                unit.x(rect.x), unit.w(rect.width)});
    }
    return dividers;
}

std::vector<bool> TabLayout::path(const LayoutSplit& split) const
{
    if (!splits)
        return {};
    std::vector<const LayoutSplit*> ancestors;
    for (const LayoutSplit& each : *splits) {
        if (each.id != split.id && each.rect != split.rect && each.rect.contains(split.rect))
            ancestors.push_back(&each);
    }
    std::stable_sort(ancestors.begin(), ancestors.end(),
        [](const LayoutSplit* a, const LayoutSplit* b) { return cellCount(a->rect) > cellCount(b->rect); });
    std::vector<bool> choices;
    choices.reserve(ancestors.size());
    for (const LayoutSplit* each : ancestors)
        choices.push_back(each->cut() <= along(split.rect, each->sideBySide()).start);
    return choices;
}

TabLayout TabLayout::settingSplit(std::string_view id, double ratio) const
{
    TabLayout changed = *this;
    if (!changed.splits)
        return changed;
    const auto split = std::find_if(
        changed.splits->begin(), changed.splits->end(), [&](const LayoutSplit& each) { return each.id == id; });
    if (split == changed.splits->end())
        return changed;
    const bool sideBySide = split->sideBySide();
    const CellRect region = split->rect;
    const Span span = along(region, sideBySide);
    Stretch stretch;
    stretch.start = real(span.start);
    stretch.end = real(span.start) + real(span.length);
    stretch.oldCut = real(split->cut());
    split->ratio = clampedRatio(ratio);
    stretch.newCut = real(split->cut());
    for (PaneFrame& pane : changed.panes) {
        if (region.contains(pane.rect))
            stretch.apply(pane.rect, sideBySide);
    }
    for (LayoutSplit& other : *changed.splits) {
        if (other.id != id && region.contains(other.rect))
            stretch.apply(other.rect, sideBySide);
    }
    return changed;
}

} // namespace tarnel
