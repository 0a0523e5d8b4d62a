#include "muxle-tmux/Layout.h"
#include "muxle-tmux/Neighbours.h"
#include <gtest/gtest.h>

namespace tarnel::tmux {

namespace {

// Written by tmux itself.
constexpr std::string_view single = "b25d,80x24,0,0,0";
constexpr std::string_view nested =
    "fa3d,80x24,0,0{20x24,0,0,1,19x24,21,0,6,39x24,41,0[39x12,41,0{19x12,41,0,3,19x12,61,0,5},39x11,41,13,4]}";

TEST(MuxleTmuxLayout, readsWhatItWrites)
{
    for (const std::string_view text : {single, nested}) {
        SCOPED_TRACE(text);
        const auto layout = Layout::parse(text);
        ASSERT_TRUE(layout);
        EXPECT_EQ(Layout::written(*layout), text);
    }
    for (const std::string_view bad : {"", "b25d", "b25d,", "b25d,80x24,0,0", "b25d,80x24,0,0,0x", "b25d,80x24,0,0{}",
             "b25d,80x24,0,0{40x24,0,0,1}", "b25d,80x24,0,0{40x24,0,0,1,39x24,41,0,2]", "b25d,-1x24,0,0,0",
             "b25d,0x24,0,0,0", "b25d,80x99999999999999999999,0,0,0"})
        EXPECT_FALSE(Layout::parse(bad)) << bad;
    std::string deep = "0000,";
    for (int i = 0; i < 100'000; ++i)
        deep += "9x9,0,0{";
    EXPECT_FALSE(Layout::parse(deep)) << "must not exhaust the stack";
}

TEST(MuxleTmuxLayout, findsPanesAndSplits)
{
    const LayoutCell layout = *Layout::parse(nested);
    const std::vector<PaneFrame> panes{{"p1", {0, 0, 20, 24}}, {"p3", {41, 0, 19, 12}}, {"p4", {41, 13, 39, 11}},
        {"p5", {61, 0, 19, 12}}, {"p6", {21, 0, 19, 24}}};
    EXPECT_EQ(Layout::panes(layout), panes);
    const std::vector<LayoutSplit> splits{{"s1", "right", 21.0 / 80, {0, 0, 80, 24}},
        {"s6", "right", 20.0 / 59, {21, 0, 59, 24}}, {"s5", "down", 13.0 / 24, {41, 0, 39, 24}},
        {"s3", "right", 20.0 / 39, {41, 0, 39, 12}}};
    EXPECT_EQ(Layout::splits(layout), splits);
    for (const LayoutSplit& each : splits) { // the second half begins where a pane does
        const auto begins = [&](const PaneFrame& pane) {
            return (each.sideBySide() ? pane.rect.x : pane.rect.y) == each.cut();
        };
        EXPECT_TRUE(std::any_of(panes.begin(), panes.end(), begins)) << each.id;
    }
}

/// What every arrangement must be: filled without gaps, one border between neighbours, nothing empty.
void expectSound(const LayoutCell& cell)
{
    EXPECT_GE(cell.rect.width, 1);
    EXPECT_GE(cell.rect.height, 1);
    if (cell.cells.empty())
        return;
    const bool isRow = cell.kind == LayoutCell::Kind::row;
    std::int64_t at = isRow ? cell.rect.x : cell.rect.y;
    for (const LayoutCell& child : cell.cells) {
        expectSound(child);
        EXPECT_EQ(isRow ? child.rect.x : child.rect.y, at);
        EXPECT_EQ(isRow ? child.rect.y : child.rect.x, isRow ? cell.rect.y : cell.rect.x);
        EXPECT_EQ(isRow ? child.rect.height : child.rect.width, isRow ? cell.rect.height : cell.rect.width);
        at += (isRow ? child.rect.width : child.rect.height) + 1;
    }
    EXPECT_EQ(at - 1, isRow ? cell.rect.x + cell.rect.width : cell.rect.y + cell.rect.height);
}

TEST(MuxleTmuxLayout, setsSplits)
{
    const LayoutCell layout = *Layout::parse(nested);
    struct Case {
        const char* split;
        double ratio;
        double result; // as near as whole cells allow
    };
    const Case cases[] = {
        {"s1", 0.5, 40.0 / 80},
        {"s1", 0.0, 8.0 / 80}, // not below a tenth
        {"s1", 0.99, 72.0 / 80},
        {"s6", 0.9, 53.0 / 59},
        {"s5", 0.25, 6.0 / 24},
        {"s3", 0.1, 4.0 / 39},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.split) + " " + std::to_string(c.ratio));
        const auto changed = Layout::settingSplit(layout, c.split, c.ratio);
        ASSERT_TRUE(changed);
        expectSound(*changed);
        EXPECT_EQ(changed->rect, layout.rect);
        for (const LayoutSplit& each : Layout::splits(*changed)) {
            if (each.id == c.split) {
                EXPECT_DOUBLE_EQ(each.ratio, c.result);
            }
        }
    }
    EXPECT_FALSE(Layout::settingSplit(layout, "s4", 0.5)) << "nothing follows the last pane";
    const auto narrow = Layout::parse("0000,5x3,0,0{1x3,0,0,1,1x3,2,0,2,1x3,4,0,3}");
    for (const double ratio : {0.1, 0.5, 0.9}) {
        const auto changed = Layout::settingSplit(*narrow, "s1", ratio);
        expectSound(*changed); // no room to move
        EXPECT_EQ(*changed, *narrow);
    }
}

TEST(MuxleTmuxLayout, keepsTheIdsOfBorders)
{
    struct Case {
        const char* what;
        const char* layout;
        std::vector<std::string> splits;
    };
    // One after another, from a row of p1, p2 and p3 on.
    const Case cases[] = {
        {"two panes change places", "0,29x9,0,0{9x9,0,0,2,9x9,10,0,1,9x9,20,0,3}", {"s1", "s2"}},
        {"sizes change too", "0,29x9,0,0{9x9,0,0,3,5x9,10,0,1,13x9,16,0,2}", {"s1", "s2"}},
        {"a pane comes", "0,29x9,0,0{9x9,0,0,3,9x9,10,0,1,4x9,20,0,4,4x9,25,0,2}", {"s1", "s2", "s4"}},
        {"one of those that moved goes", "0,29x9,0,0{9x9,0,0,3,9x9,10,0,4,9x9,20,0,2}", {"s1", "s4"}},
        {"another shape", "0,29x9,0,0{9x9,0,0,2,19x9,10,0[19x4,10,0,4,19x4,10,5,3]}", {"s3", "s4"}},
    };
    LayoutCell former = *Layout::parse("0,29x9,0,0{9x9,0,0,1,9x9,10,0,2,9x9,20,0,3}");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        LayoutCell now = *Layout::parse(c.layout);
        Layout::takeMarks(now, {&former}, &former);
        std::vector<std::string> splits;
        for (const LayoutSplit& each : Layout::splits(now)) {
            splits.push_back(each.id);
            EXPECT_TRUE(Layout::settingSplit(now, each.id, 0.5));
        }
        EXPECT_EQ(splits, c.splits);
        former = now;
    }
}

TEST(MuxleTmuxLayout, findsNeighbours)
{
    const auto panes = Layout::panes(*Layout::parse(nested));
    struct Case {
        const char* pane;
        const char* side;
        std::optional<std::string> neighbour;
    };
    const Case cases[] = {
        {"p1", "right", "p6"},
        {"p6", "right", "p3"}, // it shares more of the border with p6 than p4 does
        {"p4", "left", "p6"},
        {"p4", "up", "p3"},
        {"p5", "down", "p4"},
        {"p1", "left", std::nullopt},
        {"p1", "up", std::nullopt},
        {"p9", "up", std::nullopt},
    };
    for (const Case& c : cases)
        EXPECT_EQ(neighbour(panes, c.pane, *directionNamed(c.side)), c.neighbour) << c.pane << " " << c.side;
}

} // namespace

} // namespace tarnel::tmux
