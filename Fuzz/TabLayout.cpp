// The layout of a tab's panes: from the multiplexer's form and from the form that clients send.
#include "TarnelCore/Muxle/TabLayout.h"
#include "Fuzz/Target.h"
#include <cmath>

namespace tarnel::fuzz {

namespace {

void checkUnitForms(const TabLayout& layout)
{
    const bool isOne = layout.zoomed && layout.unitFrames().size() == 1;
    require(isOne || layout.unitFrames().size() == layout.panes.size(), "not every pane has a frame");
    for (const UnitFrame& frame : layout.unitFrames())
        require(std::isfinite(frame.x) && std::isfinite(frame.y) && std::isfinite(frame.width)
                && std::isfinite(frame.height),
            "a frame that is nowhere");
    const auto dividers = layout.unitDividers();
    require(
        dividers.size() == (layout.zoomed || !layout.splits ? 0 : layout.splits->size()), "not every split divides");
    for (const UnitDivider& divider : dividers) {
        const double ratio = divider.ratio(divider.position);
        require(ratio >= TabLayout::leastRatio && ratio <= TabLayout::greatestRatio, "a ratio out of range");
    }
}

void checkSplit(const TabLayout& layout, const LayoutSplit& split)
{
    require(layout.path(split).size() < layout.splits->size(), "more choices than other splits");
    const TabLayout changed = layout.settingSplit(split.id, 0.3);
    require(changed.area == layout.area && changed.panes.size() == layout.panes.size()
            && changed.splits->size() == layout.splits->size(),
        "moving a divider changes something else");
    const auto first = [&](const TabLayout& in) {
        for (const LayoutSplit& each : *in.splits) {
            if (each.id == split.id)
                return each;
        }
        return split;
    };
    require(
        first(changed).ratio == 0.3 && first(changed).rect == first(layout).rect, "a split was not set in its place");
    for (std::size_t i = 0; i < layout.panes.size(); ++i) {
        if (!first(layout).rect.contains(layout.panes[i].rect))
            require(changed.panes[i] == layout.panes[i], "a pane outside the split moved");
    }
}

void check(const TabLayout& layout)
{
    checkUnitForms(layout);
    if (!layout.splits)
        return;
    for (const LayoutSplit& split : *layout.splits)
        checkSplit(layout, split);
}

} // namespace

void fuzzTabLayout(std::string_view input)
{
    const auto json = JSON::parseLine(input);
    if (!json)
        return;
    if (const auto layout = TabLayout::fromMuxle(*json)) {
        check(*layout);
        const std::string form = encoded(*layout);
        require(decode<TabLayout>(JSON::parse(form)) == *layout, "a layout's JSON form reads as another one");
    }
    std::optional<TabLayout> sent; // with any numbers
    try {
        sent = decode<TabLayout>(*json);
    } catch (const DecodingError&) {
    }
    if (sent)
        check(*sent);
}

} // namespace tarnel::fuzz
