#include "TarnelCore/Muxle/MuxleClient.h"
#include "TarnelCore/Muxle/TabLayout.h"
#include "muxle-tmux/Model.h"
#include "muxle-tmux/Subscription.h"
#include "muxle-tmux/TmuxError.h"
#include <functional>
#include <gtest/gtest.h>

namespace tarnel::tmux {

namespace {

/// A session with one window of two panes, the first of which runs an agent.
Model someModel()
{
    Model model;
    model.server = "1";
    model.sessions = {{.number = 0, .name = "work", .activeWindow = 4, .isFocused = true}};
    model.windows = {{.number = 4,
        .session = 0,
        .index = 1,
        .name = "main",
        .activePane = 7,
        .layout = *Layout::parse("0000,81x24,0,0{40x24,0,0,7,40x24,41,0,8}")}};
    model.panes = {{.number = 7,
                       .window = 4,
                       .session = 0,
                       .agent = "claude",
                       .status = AgentStatus::working,
                       .stateChangeSeq = 3,
                       .revision = 12,
                       .title = "✳ Fix it",
                       .cwd = "/src",
                       .agentSession = "id",
                       .agentSessionSource = "record",
                       .isFocused = true,
                       .isActive = true},
        {.number = 8, .window = 4, .session = 0, .cwd = "/tmp"}};
    return model;
}

TEST(MuxleTmuxModel, readsBackAsTheDaemonReadsIt)
{
    const JSON snapshot = ModelJSON::snapshot(someModel());
    const auto agents = MuxleClient::decodeList<MuxleAgent>(snapshot["panes"]);
    ASSERT_EQ(agents.size(), 2u);
    EXPECT_EQ(agents[0],
        (MuxleAgent{.paneID = "p7",
            .workspaceID = "w0",
            .tabID = "t4",
            .agent = "claude",
            .status = AgentStatus::working,
            .cwd = "/src",
            .focused = true,
            .revision = 12,
            .stateChangeSeq = 3,
            .terminalTitle = "Fix it",
            .sessionID = "id",
            .sessionSource = "record"}));
    EXPECT_EQ(agents[1].shell, true);
    const auto workspaces = MuxleClient::decodeList<MuxleWorkspace>(snapshot["workspaces"]);
    ASSERT_EQ(workspaces.size(), 1u);
    EXPECT_EQ(workspaces[0],
        (MuxleWorkspace{.workspaceID = "w0",
            .number = 1,
            .label = "work",
            .status = AgentStatus::working,
            .paneCount = 2,
            .tabCount = 1,
            .activeTabID = "t4"}));
    const auto tabs = MuxleClient::decodeList<MuxleTab>(snapshot["tabs"]);
    ASSERT_EQ(tabs.size(), 1u);
    EXPECT_EQ(tabs[0],
        (MuxleTab{.tabID = "t4",
            .workspaceID = "w0",
            .number = 1,
            .label = "main",
            .status = AgentStatus::working,
            .paneCount = 2}));
    const auto layouts = MuxleClient::decodeList<TabLayout>(snapshot["layouts"]);
    ASSERT_EQ(layouts.size(), 1u);
    EXPECT_EQ(layouts[0].focusedPaneID, "p7");
    EXPECT_EQ(layouts[0].area, (CellRect{0, 0, 81, 24}));
    EXPECT_EQ(layouts[0].splits->at(0).cut(), 41);
}

TEST(MuxleTmuxModel, tellsWhatChanged)
{
    struct Case {
        const char* what;
        std::function<void(Model&)> change;
        std::vector<std::string> events;
    };
    const Case cases[] = {
        {"nothing", [](Model&) {}, {}},
        {"what only lists tell",
            [](Model& m) {
                m.panes[0].revision = 13;
                m.panes[0].title = "x";
            },
            {}},
        {"an agent's status",
            [](Model& m) {
                m.panes[0].status = AgentStatus::done;
                m.panes[0].stateChangeSeq = 4;
            },
            {"pane.agent_status_changed p7"}},
        {"an agent comes", [](Model& m) { m.panes[1].agent = "codex"; }, {"pane.agent_detected p8"}},
        {"an agent goes", [](Model& m) { m.panes[0].agent.reset(); }, {"pane.agent_detected p7"}},
        {"a pane closes",
            [](Model& m) {
                m.panes.pop_back();
                m.windows[0].layout = *Layout::parse("0000,81x24,0,0,7");
            },
            {"pane.closed p8", "layout.updated t4"}},
        {"a pane's process ends", [](Model& m) { m.panes[1].isDead = true; }, {"pane.exited p8"}},
        {"a pane moves to a new tab of a new session",
            [](Model& m) {
                m.sessions.push_back({.number = 1, .name = "other", .activeWindow = 5});
                m.windows.push_back(
                    {.number = 5, .session = 1, .activePane = 8, .layout = *Layout::parse("0,9x9,0,0,8")});
                m.windows[0].layout = *Layout::parse("0000,81x24,0,0,7");
                m.panes[1].window = 5;
                m.panes[1].session = 1;
            },
            {"workspace.created w1", "tab.created t5", "pane.moved p8", "layout.updated t4", "layout.updated t5"}},
        {"the focus",
            [](Model& m) {
                m.windows[0].activePane = 8;
                m.panes[0].isFocused = m.panes[0].isActive = false;
                m.panes[1].isFocused = m.panes[1].isActive = true;
            },
            {"pane.focused p8"}},
        {"a zoom", [](Model& m) { m.windows[0].isZoomed = true; }, {"layout.updated t4"}},
        {"a workspace comes before another",
            [](Model& m) { m.sessions.insert(m.sessions.begin(), {.number = 1, .name = "new"}); },
            {"workspace.created w1"}},
        {"names",
            [](Model& m) {
                m.windows[0].name = "x";
                m.sessions[0].name = "y";
            },
            {"workspace.renamed w0", "tab.renamed t4"}},
        {"a tab's place", [](Model& m) { m.windows[0].index = 9; }, {"tab.moved t4"}},
        {"no tmux any more", [](Model& m) { m = {}; },
            {"pane.closed p7", "pane.closed p8", "tab.closed t4", "workspace.closed w0"}},
        {"another tmux with the same ids",
            [](Model& m) {
                m.server = "2";
                m.panes.pop_back();
            },
            {"pane.closed p7", "pane.closed p8", "tab.closed t4", "workspace.closed w0", "workspace.created w0",
                "tab.created t4", "pane.created p7", "pane.agent_detected p7", "layout.updated t4",
                "workspace.focused w0", "tab.focused t4", "pane.focused p7"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Model after = someModel();
        c.change(after);
        std::vector<std::string> told;
        for (const JSON::Object& event : eventsBetween(someModel(), after)) {
            const JSON* subject = event.find("pane_id");
            subject = subject ? subject : event.find("tab_id");
            subject = subject ? subject : event.find("workspace_id");
            told.push_back(stringOf(event.find("event")).value_or("?") + " " + stringOf(subject).value_or("?"));
        }
        EXPECT_EQ(told, c.events);
    }
    Model two = someModel();
    two.sessions.push_back({.number = 1, .name = "other"});
    Model reordered = two;
    std::swap(reordered.sessions[0], reordered.sessions[1]);
    const JSON::Object moved{{"event", "workspace.reordered"}, {"workspace_id", "w1"}};
    const JSON::Object passed{{"event", "workspace.reordered"}, {"workspace_id", "w0"}};
    EXPECT_EQ(eventsBetween(two, reordered), (std::vector{moved, passed}));
}

TEST(MuxleTmuxModel, stripsTitles)
{
    const std::pair<const char*, const char*> cases[] = {{"✳ Fix it", "Fix it"}, {"⠋ ⠙ Fix", "Fix"}, {"◐ a", "a"},
        {"vim", "vim"}, {"✳", "✳"}, {" 漢字 ", "漢字"}, {"", ""}};
    for (const auto& [title, stripped] : cases)
        EXPECT_EQ(strippedTitle(title), stripped) << title;
}

TEST(MuxleTmuxModel, sendsTheEventsThatWereAskedFor)
{
    const auto event = [](std::string_view type, std::string_view pane) {
        return JSON::Object{{"event", type}, {"pane_id", pane}};
    };
    Subscription subscription;
    subscription.add({JSON::object({{"type", "pane.created"}}),
        JSON::object({{"type", "pane.agent_status_changed"}, {"pane_id", "p7"}})});
    EXPECT_TRUE(subscription.includes(event("pane.created", "p1")));
    EXPECT_FALSE(subscription.includes(event("pane.closed", "p7")));
    EXPECT_TRUE(subscription.includes(event("pane.agent_status_changed", "p7")));
    EXPECT_FALSE(subscription.includes(event("pane.agent_status_changed", "p8")));
    for (const JSON& bad : {JSON("pane.closed"), JSON::object({{"type", "pane.opened"}}),
             JSON::object({{"type", "pane.agent_status_changed"}})}) {
        EXPECT_THROW(subscription.add({JSON::object({{"type", "pane.closed"}}), bad}), TmuxError);
        EXPECT_FALSE(subscription.includes(event("pane.closed", "p7"))) << "all or nothing";
    }
}

} // namespace

} // namespace tarnel::tmux
