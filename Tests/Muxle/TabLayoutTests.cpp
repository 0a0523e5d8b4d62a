#include "TarnelCore/Muxle/TabLayout.h"
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace tarnel {

namespace {

/// Left half of 80 by 24 cells "a"; the right half divided into "b" above "c".
TabLayout threePanes()
{
    return {.tabID = "t",
        .workspaceID = "w",
        .area = {0, 0, 80, 24},
        .panes = {{"a", {0, 0, 40, 24}}, {"b", {40, 0, 40, 12}}, {"c", {40, 12, 40, 12}}},
        .splits = std::vector<LayoutSplit>{
            {"inner", "down", 0.5, {40, 0, 40, 24}},
            {"root", "right", 0.5, {0, 0, 80, 24}},
        }};
}

TEST(TabLayout, readsCellRects)
{
    struct Case {
        const char* text;
        std::optional<CellRect> rect;
    };
    const Case cases[] = {
        {R"({"width":3,"height":4})", CellRect{0, 0, 3, 4}},
        {R"({"x":-1.9,"y":2.9,"width":3.5,"height":0})", CellRect{-1, 2, 3, 0}},
        {R"({"x":"1","y":null,"width":3,"height":4})", CellRect{0, 0, 3, 4}},
        {R"({"width":3})", {}},
        {R"({"width":3,"height":"4"})", {}},
        {R"([3,4])", {}},
        {R"({"x":1e30,"width":3,"height":4})", {}},
        {R"({"width":9007199254740992,"height":4})", {}},
        {R"({"width":3,"height":-9223372036854775808})", {}},
    };
    for (const Case& c : cases) {
        const JSON json = JSON::parse(c.text);
        EXPECT_EQ(CellRect::fromMuxle(&json), c.rect) << c.text;
    }
    EXPECT_FALSE(CellRect::fromMuxle(nullptr));
}

TEST(TabLayout, readsTheMultiplexersForm)
{
    struct Case {
        const char* what;
        const char* text;
        std::optional<TabLayout> layout;
    };
    const Case cases[] = {
        {"no object", "[]", {}},
        {"no tab", R"({"workspace_id":"w"})", {}},
        {"nothing but the tab", R"({"tab_id":"t","panes":{},"splits":{},"zoomed":1,"focused_pane_id":2})",
            TabLayout{.tabID = "t"}},
        {"bad panes and splits are skipped",
            R"({"tab_id":"t","area":{"width":9,"height":8},"panes":[1,{"pane_id":"a"},{"rect":{"width":1,"height":1}},
                {"pane_id":"b","rect":{"width":1,"height":1}}],"splits":[null,{"id":"s","direction":"right","ratio":"0.5",
                "rect":{"width":1,"height":1}}]})",
            TabLayout{.tabID = "t",
                .area = {0, 0, 9, 8},
                .panes = {{"b", {0, 0, 1, 1}}},
                .splits = std::vector<LayoutSplit>()}},
        {"the area is the panes' box",
            R"({"tab_id":"t","area":{"width":9},"panes":[{"pane_id":"a","rect":{"x":40,"y":1,"width":40,"height":20}},
                {"pane_id":"b","rect":{"x":5,"y":2,"width":35,"height":20}}]})",
            TabLayout{.tabID = "t", .area = {5, 1, 75, 21}, .panes = {{"a", {40, 1, 40, 20}}, {"b", {5, 2, 35, 20}}}}},
        {"whole",
            R"({"tab_id":"t","workspace_id":"w","zoomed":true,"focused_pane_id":"p","area":{"width":1,"height":1},
                "splits":[{"id":"s","direction":"down","ratio":0.25,"rect":{"x":1,"y":2,"width":3,"height":4}}]})",
            TabLayout{.tabID = "t",
                .workspaceID = "w",
                .zoomed = true,
                .focusedPaneID = "p",
                .area = {0, 0, 1, 1},
                .splits = std::vector<LayoutSplit>{{"s", "down", 0.25, {1, 2, 3, 4}}}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const auto layout = TabLayout::fromMuxle(JSON::parse(c.text));
        EXPECT_EQ(layout, c.layout);
        if (layout) {
            EXPECT_EQ(decode<TabLayout>(jsonValue(*layout)), *layout);
        }
    }
    EXPECT_EQ(encoded(TabLayout{.tabID = "t"}),
        R"({"area":{"height":0,"width":0,"x":0,"y":0},"panes":[],"tabID":"t","workspaceID":"","zoomed":false})");
}

TEST(TabLayout, cutsRoundHalvesAwayFromZero)
{
    EXPECT_EQ((LayoutSplit{"s", "right", 0.5, {0, 0, 81, 24}}.cut()), 41);
    EXPECT_EQ((LayoutSplit{"s", "right", 0.5, {10, 0, -81, 24}}.cut()), -31);
    EXPECT_EQ((LayoutSplit{"s", "below", 0.5, {3, 7, 80, 25}}.cut()), 20);
}

TEST(TabLayout, framesAndDividersFillTheUnitSquare)
{
    TabLayout layout = threePanes();
    layout.area = {0, 0, 160, 48};
    EXPECT_EQ(layout.unitFrames(),
        (std::vector<UnitFrame>{{"a", 0, 0, 0.25, 0.5}, {"b", 0.25, 0, 0.25, 0.25}, {"c", 0.25, 0.25, 0.25, 0.25}}));
    EXPECT_EQ(layout.unitDividers(),
        (std::vector<UnitDivider>{{"inner", false, 0.25, 0, 0.5, 0.25, 0.25}, {"root", true, 0.25, 0, 0.5, 0, 0.5}}));

    layout.zoomed = true;
    layout.focusedPaneID = "gone";
    EXPECT_EQ(layout.unitFrames().size(), 3u);
    EXPECT_TRUE(layout.unitDividers().empty());
    layout.focusedPaneID = "c";
    EXPECT_EQ(layout.unitFrames(), (std::vector<UnitFrame>{{"c", 0, 0, 1, 1}}));

    const TabLayout flat{.area = {1, 2, 0, -5}, .panes = {{"a", {2, 3, 4, 5}}}};
    EXPECT_EQ(flat.unitFrames(), (std::vector<UnitFrame>{{"a", 1, 1, 4, 5}}));
}

TEST(TabLayout, dividersGiveTheRatioTheyAreDraggedTo)
{
    const UnitDivider divider{.axisStart = 0.5, .axisLength = 0.5};
    const UnitDivider empty{.axisStart = 0.5};
    EXPECT_DOUBLE_EQ(divider.ratio(0.75), 0.5);
    EXPECT_DOUBLE_EQ(divider.ratio(0.25), 0.1);
    EXPECT_DOUBLE_EQ(divider.ratio(2), 0.9);
    EXPECT_DOUBLE_EQ(empty.ratio(0.5), 0.1);
    EXPECT_DOUBLE_EQ(empty.ratio(0.6), 0.9);
    EXPECT_DOUBLE_EQ(divider.ratio(std::nan("")), 0.1);
}

TEST(TabLayout, pathsLeadFromTheOutermostSplit)
{
    TabLayout layout = threePanes();
    layout.splits->push_back({"deep", "right", 0.5, {40, 12, 40, 12}});
    layout.splits->push_back({"left", "down", 0.5, {0, 0, 40, 24}});
    const auto path = [&](std::size_t i) { return layout.path((*layout.splits)[i]); };
    EXPECT_EQ(path(1), std::vector<bool>());
    EXPECT_EQ(path(0), std::vector<bool>({true}));
    EXPECT_EQ(path(2), std::vector<bool>({true, true})); // root, then inner, though inner is listed first
    EXPECT_EQ(path(3), std::vector<bool>({false}));
    EXPECT_TRUE(TabLayout{}.path({"s", "right", 0.5, {0, 0, 1, 1}}).empty());
}

TEST(TabLayout, settingASplitMovesWhatItHolds)
{
    const TabLayout before = threePanes();
    const TabLayout after = before.settingSplit("root", 0.25);
    EXPECT_EQ(
        after.panes, (std::vector<PaneFrame>{{"a", {0, 0, 20, 24}}, {"b", {20, 0, 60, 12}}, {"c", {20, 12, 60, 12}}}));
    EXPECT_EQ((*after.splits)[0], (LayoutSplit{"inner", "down", 0.5, {20, 0, 60, 24}}));
    EXPECT_EQ((*after.splits)[1], (LayoutSplit{"root", "right", 0.25, {0, 0, 80, 24}}));

    const TabLayout stacked = before.settingSplit("inner", 0.75);
    EXPECT_EQ(
        stacked.panes, (std::vector<PaneFrame>{{"a", {0, 0, 40, 24}}, {"b", {40, 0, 40, 18}}, {"c", {40, 18, 40, 6}}}));
    EXPECT_EQ((*stacked.splits)[1], (*before.splits)[1]);

    EXPECT_EQ((*before.settingSplit("root", 0.95).splits)[1].ratio, 0.9);
    EXPECT_EQ((*before.settingSplit("root", 0).splits)[1].ratio, 0.1);
    EXPECT_EQ(before.settingSplit("none", 0.3), before);
    EXPECT_EQ(TabLayout{}.settingSplit("root", 0.3), TabLayout{});
    EXPECT_EQ(before.settingSplit("root", 0.5), before);
}

TEST(TabLayout, geometrySurvivesAnyNumbers)
{
    constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    const CellRect rects[] = {{least, least, most, most}, {most, most, most, most}, {most, least, least, -1}};
    for (const CellRect& rect : rects) {
        for (const double ratio : {1e308, -1e308, 0.5}) {
            TabLayout layout{.area = rect, .panes = {{"p", rect}}};
            layout.splits = std::vector<LayoutSplit>{{"s", "right", ratio, rect}, {"o", "down", ratio, rects[0]}};
            EXPECT_EQ(layout.unitFrames().size(), 1u);
            EXPECT_EQ(layout.unitDividers().size(), 2u);
            EXPECT_LE(layout.path(layout.splits->front()).size(), 1u);
            EXPECT_EQ(layout.settingSplit("s", ratio).settingSplit("o", -ratio).panes.size(), 1u);
        }
    }
}

} // namespace

} // namespace tarnel
