#include "EndToEnd/Commander.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Commands/Optimistic.h"
#include "TarnelCore/Commands/Outbox.h"
#include <algorithm>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>

namespace tarnel {

namespace {

using Edit = Outbox::Prediction;
using Status = CommandReply::Status;

/// A command, its prediction, and what of the machine's state this one cannot know.
struct Step {
    std::string what;
    std::string method;
    JSON::Object params;
    Edit predict;
    Edit leaveOut = {};
    std::int64_t slack = 0; ///< The cells by which the edges in a layout may be off.
    enum class Outcome { changed, same, refused } outcome = Outcome::changed; ///< Both sides are to see it alike.
};

/// No edit tells these: times, what agents and their terminals do meanwhile, and what is shown of it.
void leaveOutWhatMovesByItself(MachineSnapshot& snapshot)
{
    snapshot.takenAt = {};
    snapshot.statusLines.reset();
    for (MuxleWorkspace& each : snapshot.workspaces)
        each.status = AgentStatus::unknown;
    for (MuxleTab& each : *snapshot.tabs)
        each.status = AgentStatus::unknown;
    for (MuxleAgent& each : snapshot.agents) {
        each.status = AgentStatus::unknown;
        each.revision = each.stateChangeSeq = 0;
        each.terminalTitle.reset();
    }
    for (AttentionItem& each : snapshot.queue) {
        AttentionItem left{.kind = each.kind};
        left.fingerprint.paneID = each.fingerprint.paneID;
        each = left;
    }
}

/// An edit of what is focused or shown says so of one pane or tab, and leaves it to the multiplexer what else follows.
void leaveOutFocus(MachineSnapshot& snapshot)
{
    for (MuxleAgent& each : snapshot.agents)
        each.focused = false;
}

/// Edits that remove something leave the counts around it and the numbers beside it, which the multiplexer makes anew;
/// the order that the numbers give stays.
void leaveOutCounts(MachineSnapshot& snapshot)
{
    for (MuxleWorkspace& each : snapshot.workspaces) {
        each.paneCount = 0;
        each.tabCount = 0;
    }
    for (MuxleTab& each : *snapshot.tabs)
        each.paneCount = 0;
    const auto renumber = [](auto& list, auto isBeside) {
        auto numbered = list;
        for (auto& each : numbered) {
            each.number = 1 + std::count_if(list.begin(), list.end(), [&](const auto& other) {
                return isBeside(each, other) && other.number < each.number;
            });
        }
        list = numbered;
    };
    renumber(snapshot.workspaces, [](const auto&, const auto&) { return true; });
    renumber(*snapshot.tabs,
        [](const MuxleTab& one, const MuxleTab& other) { return one.workspaceID == other.workspaceID; });
}

/// The room of a pane that closes goes to others as the multiplexer likes.
Edit leaveOutRoomIn(const std::string& tab)
{
    return [tab](MachineSnapshot& snapshot) {
        leaveOutCounts(snapshot);
        for (TabLayout& layout : *snapshot.layouts) {
            if (layout.tabID != tab)
                continue;
            layout.splits.reset();
            for (PaneFrame& each : layout.panes)
                each.rect = {};
        }
    };
}

/// Which of the tabs that are left is shown, and which pane of it has the focus, is the multiplexer's choice.
void leaveOutWhatIsShown(MachineSnapshot& snapshot)
{
    leaveOutCounts(snapshot);
    leaveOutFocus(snapshot);
    for (MuxleWorkspace& each : snapshot.workspaces)
        each.activeTabID.reset();
}

/// The lines that a snapshot is compared by. A list's order tells nothing but in a layout: places are told by numbers.
std::string told(MachineSnapshot snapshot, const Edit& leaveOut)
{
    leaveOutWhatMovesByItself(snapshot);
    if (leaveOut)
        leaveOut(snapshot);
    std::vector<std::string> lines;
    const auto add = [&](const auto& list) {
        for (const auto& each : list)
            lines.push_back(encoded(each));
    };
    add(snapshot.workspaces);
    add(*snapshot.tabs);
    add(snapshot.agents);
    add(snapshot.queue);
    std::sort(lines.begin(), lines.end());
    std::ranges::sort(*snapshot.layouts, {}, &TabLayout::tabID);
    for (const TabLayout& each : *snapshot.layouts) {
        lines.push_back(each.tabID + " of " + each.workspaceID + " focuses " + each.focusedPaneID.value_or("nothing")
            + (each.zoomed ? ", zoomed" : ""));
        add(each.panes);
        if (each.splits)
            add(*each.splits);
    }
    return Text::joined(lines, "\n");
}

const TabLayout& layoutOf(const MachineSnapshot& snapshot, const std::string& tab)
{
    return *std::ranges::find(*snapshot.layouts, tab, &TabLayout::tabID);
}

/// Whether two lengths of cells begin and end together, but for some cells.
bool isNear(
    std::int64_t start, std::int64_t length, std::int64_t otherStart, std::int64_t otherLength, std::int64_t slack)
{
    return std::abs(start - otherStart) <= slack && std::abs(start + length - otherStart - otherLength) <= slack;
}

/// Makes the layouts that a machine reports those that were predicted, where `slack` allows.
void forgive(MachineSnapshot& reported, const MachineSnapshot& predicted, std::int64_t slack)
{
    const auto forgiveRect = [&](CellRect& rect, const CellRect& other) {
        if (isNear(rect.x, rect.width, other.x, other.width, slack)
            && isNear(rect.y, rect.height, other.y, other.height, slack))
            rect = other;
    };
    for (TabLayout& layout : *reported.layouts) {
        for (const TabLayout& other : *predicted.layouts) {
            if (other.tabID != layout.tabID || other.panes.size() != layout.panes.size()
                || other.splits->size() != layout.splits->size())
                continue;
            for (std::size_t i = 0; i < layout.panes.size(); ++i)
                forgiveRect(layout.panes[i].rect, other.panes[i].rect);
            for (std::size_t i = 0; i < layout.splits->size(); ++i) {
                LayoutSplit& split = (*layout.splits)[i];
                const LayoutSplit& otherSplit = (*other.splits)[i];
                if (std::abs(split.cut() - otherSplit.cut()) <= slack)
                    split.ratio = otherSplit.ratio;
                forgiveRect(split.rect, otherSplit.rect);
            }
        }
    }
}

/// Eleven panes in three workspaces.
class Prediction : public testing::Test {
protected:
    /// The ids of a new tmux server count from 0; the demo's first window is w0, t0, p0.
    ///   w0: t0 with p0 over p5 at the left, and p4 over p6 and p1 at the right; t2 with p2 over p7; t4 with p8
    ///   w1: t5 with p9; t3 with p3
    ///   w2: t6 with p10
    void SetUp() override
    {
        const std::string permission = world.startAgent("claude-permission");
        const std::string plan = world.startAgent("claude-plan");
        const std::string question = world.startAgent("claude-question");
        const std::vector<std::string> settingUp[] = {
            {"set-option", "-g", "automatic-rename", "off"},
            {"resize-window", "-t", "@0", "-x", "161", "-y", "51"},
            {"split-window", "-d", "-h", "-t", "%0", "cat"},
            {"split-window", "-d", "-v", "-t", "%0", "cat"},
            {"split-window", "-d", "-v", "-t", "%4", "cat"},
            {"join-pane", "-d", "-h", "-s", "%1", "-t", "%6"},
            {"split-window", "-d", "-v", "-t", "%2", "cat"},
            {"new-window", "-d", "-t", "demo:", "cat"},
            {"new-session", "-d", "-s", "second", "-x", "100", "-y", "30", "cat"},
            {"move-window", "-d", "-s", "demo:@3", "-t", "second:"},
            {"new-session", "-d", "-s", "third", "-x", "100", "-y", "30", "cat"},
        };
        for (const auto& each : settingUp)
            ASSERT_EQ(world.tmux(each).status, 0) << Text::joined(each, " ");
        ASSERT_TRUE(awaitItem(watch, permission, AttentionKind::permission));
        ASSERT_TRUE(awaitItem(watch, plan, AttentionKind::plan));
        ASSERT_TRUE(awaitItem(watch, question, AttentionKind::question));
    }

    MachineSnapshot now() { return world.daemon.snapshot(); }

    /// Does what a client does: shows the effect, sends the command, and waits until the machine has got there.
    void take(const std::vector<Step>& steps)
    {
        Outbox outbox;
        const MachineSnapshot before = now();
        const Step& last = steps.back();
        SCOPED_TRACE(last.what);
        for (const Step& each : steps)
            outbox.add({nextID(), MuxleAction{each.method, each.params}}, before.machine, each.predict);
        const MachineSnapshot predicted = outbox.apply(before, before.machine);
        for (const Command& each : outbox.unfinished(before.machine))
            client.send(each.id, each.action);
        for (const Step& each : steps) {
            const CommandReply reply = client.next();
            EXPECT_EQ(reply.status, each.outcome == Step::Outcome::refused ? Status::failed : Status::done)
                << brief(reply);
            EXPECT_TRUE(outbox.record(reply));
        }
        const std::string expected = told(predicted, last.leaveOut);
        EXPECT_EQ(told(before, last.leaveOut) != expected, last.outcome == Step::Outcome::changed);
        const auto reported = [&](MachineSnapshot each) {
            if (last.slack > 0)
                forgive(each, predicted, last.slack);
            return told(each, last.leaveOut);
        };
        if (!watch.await([&](const MachineSnapshot& each) { return reported(each) == expected; })) {
            EXPECT_EQ(expected, reported(now()));
        }
    }
    void take(const Step& step) { take(std::vector{step}); }

    void takeFocusZoomAndNames();
    void takeDividers();
    void takeSwaps();
    void takeMoves();
    void takeRemovals();

    std::string nextID() { return "c" + std::to_string(++commands); }

    int commands = 0;
    DemoWorld world;
    SnapshotWatch watch{world.daemon.socketPath()};
    Commander client{world.daemon.socketPath()};
};

Step focusPane(const std::string& pane)
{
    return {"focus " + pane, "pane.focus", {{"pane_id", pane}}, [=](auto& s) { Optimistic::focusPane(s, pane); }};
}

Step zoom(const std::string& tab, const std::string& pane, bool zoomed)
{
    return {(zoomed ? "zoom " : "unzoom ") + pane, "pane.zoom", {{"pane_id", pane}, {"zoomed", zoomed}},
        [=](auto& s) { Optimistic::setZoom(s, tab, zoomed); }};
}

Step swap(const std::string& pane, const std::string& direction)
{
    return {"swap " + pane + " " + direction, "pane.swap", {{"pane_id", pane}, {"direction", direction}},
        [=](auto& s) { Optimistic::swapPane(s, pane, direction); }};
}

Step moveTab(const std::string& tab, std::int64_t index)
{
    return {"move " + tab + " to " + std::to_string(index), "tab.move", {{"tab_id", tab}, {"index", index}},
        [=](auto& s) { Optimistic::moveTab(s, tab, index); }};
}

Step moveSpace(const std::string& space, std::int64_t index)
{
    return {"move " + space + " to " + std::to_string(index), "workspace.move",
        {{"workspace_id", space}, {"index", index}}, [=](auto& s) { Optimistic::moveSpace(s, space, index); }};
}

Step closePane(const std::string& pane, const std::string& tab)
{
    return {"close " + pane, "pane.close", {{"pane_id", pane}}, [=](auto& s) { Optimistic::removePane(s, pane); },
        leaveOutRoomIn(tab)};
}

void Prediction::takeFocusZoomAndNames()
{
    const Step steps[] = {
        focusPane("p4"),
        focusPane("p2"), // another tab
        focusPane("p9"), // another workspace
        {"show a tab", "tab.focus", {{"tab_id", "t4"}}, [](auto& s) { Optimistic::showTab(s, "t4"); }, leaveOutFocus},
        {"show a tab and its pane", "tab.focus", {{"tab_id", "t0"}},
            [](auto& s) { Optimistic::focusPane(s, *layoutOf(s, "t0").focusedPaneID); }},
        zoom("t0", "p4", true),
        focusPane("p0"),
        zoom("t0", "p0", false),
        {"rename a pane", "pane.rename", {{"pane_id", "p1"}, {"name", "#{x} 'it'"}},
            [](auto& s) { Optimistic::renamePane(s, "p1", "#{x} 'it'"); }},
        {"rename a tab", "tab.rename", {{"tab_id", "t2"}, {"name", "50% é"}},
            [](auto& s) { Optimistic::renameTab(s, "t2", "50% é"); }},
        {"rename a workspace", "workspace.rename", {{"workspace_id", "w1"}, {"name", "-x y"}},
            [](auto& s) { Optimistic::renameSpace(s, "w1", "-x y"); }},
    };
    for (const Step& each : steps)
        take(each);
}

void Prediction::takeDividers()
{
    const std::vector<LayoutSplit> splits = *layoutOf(now(), "t0").splits;
    ASSERT_EQ(splits.size(), 4U);
    for (const LayoutSplit& split : splits) {
        for (const double ratio : {0.6, 0.45}) {
            Step step{"drag " + split.id + " to " + std::to_string(ratio), "layout.set_split_ratio",
                {{"tab_id", "t0"}, {"split_id", split.id}, {"ratio", ratio}},
                [=](auto& s) { Optimistic::setSplit(s, "t0", split.id, ratio); }};
            // The borders are stretched with the panes, and a place between two cells stays one until it is a ratio of
            // cells again.
            step.slack = 1;
            take(step);
        }
    }
}

void Prediction::takeSwaps()
{
    take(focusPane("p4"));
    int swaps = 0;
    for (const char* pane : {"p0", "p1", "p4", "p5", "p6"}) {
        for (const char* direction : {"left", "right", "up", "down"}) {
            Step step = swap(pane, direction);
            if (Optimistic::neighbor(now(), pane, direction))
                ++swaps;
            else
                step.outcome = Step::Outcome::refused;
            take(step);
        }
    }
    EXPECT_GE(swaps, 10);
    take(zoom("t0", "p4", true));
    Step step = swap("p4", "right");
    if (!Optimistic::neighbor(now(), "p4", "right"))
        step = swap("p4", "left");
    take(step);
}

void Prediction::takeMoves()
{
    take(focusPane("p2"));
    for (const Step& each : {moveTab("t4", 0), moveTab("t2", 1), moveTab("t4", 2), moveTab("t2", 2), moveTab("t5", 1),
             moveTab("t3", 1), moveSpace("w2", 0), moveSpace("w2", 1), moveSpace("w0", 2), moveSpace("w1", 0)})
        take(each);
    for (Step each : {moveTab("t2", 2), moveSpace("w0", 2)}) {
        each.outcome = Step::Outcome::same;
        take(each);
    }
    for (Step each : {moveTab("t0", 3), moveTab("t0", -1), moveSpace("w0", 3), moveSpace("w9", 0)}) {
        each.outcome = Step::Outcome::refused;
        take(each);
    }
}

void Prediction::takeRemovals()
{
    take(closePane("p5", "t0")); // while another is zoomed
    take(zoom("t0", "p4", false));
    take(closePane("p1", "t0")); // with its place in the queue
    take(focusPane("p6")); // the last one before p4, but not the first that is left
    take(focusPane("p4"));
    Step focused = closePane("p4", "t0");
    focused.leaveOut = [](MachineSnapshot& s) {
        leaveOutRoomIn("t0")(s);
        leaveOutFocus(s);
    };
    take(focused);
    const auto closeTab = [](const std::string& tab, const Edit& leaveOut) {
        return Step{
            "close " + tab, "tab.close", {{"tab_id", tab}}, [=](auto& s) { Optimistic::removeTab(s, tab); }, leaveOut};
    };
    const auto closeSpace = [](const std::string& space, const Edit& leaveOut) {
        return Step{"close " + space, "workspace.close", {{"workspace_id", space}},
            [=](auto& s) { Optimistic::removeSpace(s, space); }, leaveOut};
    };
    take(closeTab("t4", leaveOutCounts));
    take(focusPane("p2"));
    take(closeTab("t2", leaveOutWhatIsShown)); // the one that is shown
    take(closeSpace("w1", leaveOutCounts));
    take(focusPane("p10"));
    take(closeSpace("w2", leaveOutWhatIsShown));
    EXPECT_EQ(now().agents.size(), 2U);
    EXPECT_TRUE(now().queue.empty());
}

TEST_F(Prediction, comesTrue)
{
    takeFocusZoomAndNames();
    takeDividers();
    takeSwaps();
    takeMoves();
    takeRemovals();
}

TEST_F(Prediction, ofSeveralEditsComesTrue)
{
    take(focusPane("p4"));
    take({swap("p0", "right"), swap("p0", "down"), focusPane("p6"), moveTab("t4", 0), swap("p5", "up"),
        moveTab("t0", 2), moveSpace("w2", 0), focusPane("p1")});
}

} // namespace

} // namespace tarnel
