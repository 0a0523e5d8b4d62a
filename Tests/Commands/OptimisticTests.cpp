#include "TarnelCore/Commands/Optimistic.h"
#include <functional>
#include <gtest/gtest.h>

namespace tarnel {

namespace {

/// Two workspaces. The first has the tabs t1 (p1 at the left, p2 and the taller p3 stacked at its right beyond a border
/// of one cell, p4 two cells below p1) and t2 (p5); the second has t3, of which only the layout is known (p6).
MachineSnapshot world()
{
    MachineSnapshot snapshot{.machine = "m"};
    snapshot.workspaces = {{.workspaceID = "w2", .number = 2, .activeTabID = "t3"},
        {.workspaceID = "w1", .number = 1, .activeTabID = "t2"}};
    for (const auto& [pane, tab, space] : {std::tuple{"p1", "t1", "w1"}, {"p2", "t1", "w1"}, {"p3", "t1", "w1"},
             {"p4", "t1", "w1"}, {"p5", "t2", "w1"}, {"p6", "t3", "w2"}}) {
        snapshot.agents.push_back({.paneID = pane, .workspaceID = space, .tabID = tab});
        AttentionItem item;
        item.fingerprint.paneID = pane;
        snapshot.queue.push_back(item);
    }
    snapshot.agents[4].focused = true;
    snapshot.tabs = {
        {.tabID = "t1", .workspaceID = "w1", .number = 1}, {.tabID = "t2", .workspaceID = "w1", .number = 2}};
    snapshot.layouts = {
        {.tabID = "t1",
            .workspaceID = "w1",
            .focusedPaneID = "p2",
            .area = {0, 0, 80, 24},
            .panes = {{"p1", {0, 0, 40, 20}}, {"p2", {41, 0, 39, 8}}, {"p3", {41, 8, 39, 12}}, {"p4", {0, 22, 40, 2}}},
            .splits = {{{.id = "s", .direction = "right", .ratio = 0.5, .rect = {0, 0, 80, 24}}}}},
        {.tabID = "t2", .workspaceID = "w1", .focusedPaneID = "p5", .panes = {{"p5", {0, 0, 80, 24}}}},
        {.tabID = "t3", .workspaceID = "w2", .panes = {{"p6", {0, 0, 80, 24}}}}};
    return snapshot;
}

std::string panesOf(const MachineSnapshot& snapshot)
{
    std::string panes;
    for (const AttentionItem& item : snapshot.queue)
        panes += item.fingerprint.paneID + " ";
    std::string agents;
    for (const MuxleAgent& agent : snapshot.agents)
        agents += agent.paneID + " ";
    return panes == agents ? panes : panes + "/ " + agents;
}

TEST(Optimistic, findsTheNeighborThatSharesMost)
{
    struct Case {
        const char* what;
        const char* pane;
        const char* direction;
        std::optional<std::string> neighbor;
    };
    const Case cases[] = {
        {"the longer edge wins", "p1", "right", "p3"},
        {"across a border of one cell", "p2", "left", "p1"},
        {"without a border", "p2", "down", "p3"},
        {"and back", "p3", "up", "p2"},
        {"two cells are too far", "p1", "down", {}},
        {"nothing at that side", "p1", "left", {}},
        {"no direction", "p1", "sideways", {}},
        {"no such pane", "p9", "left", {}},
        {"other tabs do not count", "p5", "right", {}},
    };
    MachineSnapshot snapshot = world();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(Optimistic::neighbor(snapshot, c.pane, c.direction), c.neighbor);
    }
    snapshot.layouts->front().panes[1].rect.height = 12; // now both share twelve rows
    EXPECT_EQ(Optimistic::neighbor(snapshot, "p1", "right"), "p2");
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    snapshot.layouts->front().panes[0].rect = {most, most, most, most};
    EXPECT_EQ(Optimistic::neighbor(snapshot, "p1", "right"), std::nullopt);
}

TEST(Optimistic, editsWhatItNamesAndNothingElse)
{
    using Edit = std::function<void(MachineSnapshot&)>;
    struct Case {
        const char* what;
        Edit edit;
        Edit expected; // the same by hand
    };
    const Case cases[] = {
        {"focus", [](auto& s) { Optimistic::focusPane(s, "p3"); },
            [](auto& s) {
                s.agents[4].focused = false;
                s.agents[2].focused = true;
                s.layouts->at(0).focusedPaneID = "p3";
                s.workspaces[1].activeTabID = "t1";
            }},
        {"focus in a tab that only the layouts know", [](auto& s) { Optimistic::focusPane(s, "p6"); },
            [](auto& s) {
                s.agents[4].focused = false;
                s.agents[5].focused = true;
                s.layouts->at(2).focusedPaneID = "p6";
            }},
        {"show a tab", [](auto& s) { Optimistic::showTab(s, "t1"); },
            [](auto& s) { s.workspaces[1].activeTabID = "t1"; }},
        {"zoom", [](auto& s) { Optimistic::setZoom(s, "t1", true); }, [](auto& s) { s.layouts->at(0).zoomed = true; }},
        {"split", [](auto& s) { Optimistic::setSplit(s, "t1", "s", 0.25); },
            [](auto& s) { s.layouts->at(0) = s.layouts->at(0).settingSplit("s", 0.25); }},
        {"split by too little to see", [](auto& s) { Optimistic::setSplit(s, "t1", "s", 0.5015); }, [](auto&) {}},
        {"swap", [](auto& s) { EXPECT_EQ(Optimistic::swapPane(s, "p1", "right"), "p3"); },
            [](auto& s) { std::swap(s.layouts->at(0).panes[0].rect, s.layouts->at(0).panes[2].rect); }},
        {"rename",
            [](auto& s) {
                Optimistic::renamePane(s, "p1", "a");
                Optimistic::renameTab(s, "t2", "b");
                Optimistic::renameSpace(s, "w2", "c");
            },
            [](auto& s) {
                s.agents[0].name = "a";
                s.tabs->at(1).label = "b";
                s.workspaces[0].label = "c";
            }},
        {"what is not there",
            [](auto& s) {
                Optimistic::focusPane(s, "p9");
                Optimistic::showTab(s, "t9");
                Optimistic::setZoom(s, "t9", true);
                Optimistic::setSplit(s, "t1", "s9", 0.2);
                Optimistic::setSplit(s, "t2", "s", 0.2);
                EXPECT_EQ(Optimistic::swapPane(s, "p1", "left"), std::nullopt);
                Optimistic::removePane(s, "p9");
                Optimistic::removeTab(s, "t9");
                Optimistic::removeSpace(s, "w9");
                Optimistic::renameTab(s, "t9", "x");
                Optimistic::moveTab(s, "t9", 0);
                Optimistic::moveTab(s, "t1", 2);
                Optimistic::moveSpace(s, "w1", 2);
                Optimistic::moveSpace(s, "w1", -1);
            },
            [](auto&) {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        MachineSnapshot edited = world();
        MachineSnapshot expected = edited;
        c.edit(edited);
        c.expected(expected);
        EXPECT_EQ(encoded(edited), encoded(expected));
    }
}

TEST(Optimistic, removes)
{
    MachineSnapshot snapshot = world();
    Optimistic::removePane(snapshot, "p2");
    EXPECT_EQ(panesOf(snapshot), "p1 p3 p4 p5 p6 ");
    EXPECT_EQ(snapshot.layouts->at(0).panes.size(), 3u);
    EXPECT_EQ(snapshot.layouts->at(0).focusedPaneID, "p1");
    Optimistic::removePane(snapshot, "p3");
    EXPECT_EQ(snapshot.layouts->at(0).focusedPaneID, "p1");
    Optimistic::removePane(snapshot, "p5");
    EXPECT_TRUE(snapshot.layouts->at(1).panes.empty());
    EXPECT_EQ(snapshot.layouts->at(1).focusedPaneID, std::nullopt);

    snapshot = world();
    Optimistic::removeTab(snapshot, "t1");
    EXPECT_EQ(panesOf(snapshot), "p5 p6 ");
    EXPECT_EQ(snapshot.tabs->size(), 1u);
    EXPECT_EQ(snapshot.layouts->size(), 2u);
    EXPECT_EQ(snapshot.workspaces.size(), 2u);

    snapshot = world();
    Optimistic::removeSpace(snapshot, "w1");
    EXPECT_EQ(panesOf(snapshot), "p6 ");
    EXPECT_TRUE(snapshot.tabs->empty());
    EXPECT_EQ(snapshot.layouts->size(), 1u);
    EXPECT_EQ(snapshot.workspaces.size(), 1u);
}

TEST(Optimistic, renumbersWithoutReordering)
{
    struct Case {
        const char* what;
        std::vector<std::int64_t> numbers; // of the tabs a, b, c
        const char* moved;
        std::int64_t index;
        std::vector<std::int64_t> expected;
    };
    const Case cases[] = {
        {"the last to the front", {1, 2, 3}, "c", 0, {2, 3, 1}},
        {"the first to the end", {1, 2, 3}, "a", 2, {3, 1, 2}},
        {"by number, not by place", {3, 1, 2}, "b", 1, {3, 2, 1}},
        {"equal numbers keep the list's order", {5, 5, 5}, "b", 1, {1, 2, 3}},
        {"past the end", {1, 2, 3}, "a", 3, {1, 2, 3}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        MachineSnapshot snapshot;
        snapshot.tabs = {{.tabID = "other", .workspaceID = "w2", .number = 9}};
        for (std::size_t i = 0; i < 3; ++i) {
            const std::string id(1, static_cast<char>('a' + static_cast<char>(i)));
            snapshot.tabs->push_back({.tabID = id, .workspaceID = "w1", .number = c.numbers[i]});
            snapshot.workspaces.push_back({.workspaceID = id, .number = c.numbers[i]});
        }
        Optimistic::moveTab(snapshot, c.moved, c.index);
        Optimistic::moveSpace(snapshot, c.moved, c.index);
        EXPECT_EQ(snapshot.tabs->at(0).number, 9);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(snapshot.tabs->at(i + 1).number, c.expected[i]) << i;
            EXPECT_EQ(snapshot.workspaces[i].number, c.expected[i]) << i;
        }
    }
}

} // namespace

} // namespace tarnel
