#include "TarnelCore/Muxle/MuxleModels.h"
#include <gtest/gtest.h>

namespace tarnel {

namespace {

TEST(MuxleModels, reconcilesTheStatusWithTheTitle)
{
    struct Case {
        const char* what;
        std::optional<std::string> raw;
        std::optional<std::string> title;
        AgentStatus status;
    };
    const Case cases[] = {
        {"absent word, no title", {}, {}, AgentStatus::unknown},
        {"unknown word", "Working", {}, AgentStatus::unknown},
        {"empty title", "done", "", AgentStatus::done},
        {"Braille spinner", "idle", "⠋ Working on it", AgentStatus::working},
        {"absent word, spinner", {}, "⠋", AgentStatus::working},
        {"first Braille pattern with a dot", "done", "\u2801", AgentStatus::working},
        {"last Braille pattern", "done", "\u28FF", AgentStatus::working},
        {"blank Braille is no spinner", "idle", "\u2800x", AgentStatus::idle},
        {"past the Braille patterns", "idle", "\u2900", AgentStatus::idle},
        {"every half-filled circle", "idle", "◐", AgentStatus::working},
        {"", "idle", "◑", AgentStatus::working},
        {"", "idle", "◒", AgentStatus::working},
        {"", "idle", "◓", AgentStatus::working},
        {"a full circle is no spinner", "idle", "●", AgentStatus::idle},
        {"a star is no spinner", "idle", "✳ Claude", AgentStatus::idle},
        {"a spinner further on", "idle", " ⠋", AgentStatus::idle},
        {"blocked stays", "blocked", "⠋", AgentStatus::blocked},
        {"a title that is not UTF-8", "idle", "\xe2\xa0", AgentStatus::idle},
    };
    for (const Case& c : cases)
        EXPECT_EQ(reconciledStatus(c.raw, c.title), c.status) << c.what << " " << c.title.value_or("-");
}

TEST(MuxleModels, readsAgentsLeniently)
{
    struct Case {
        const char* what;
        const char* text;
        std::optional<MuxleAgent> agent;
    };
    const MuxleAgent bare{.paneID = "p1"};
    MuxleAgent shell = bare, titled = bare, stripped = bare, session = bare;
    shell.shell = true;
    titled.terminalTitle = "⠋ t";
    titled.status = AgentStatus::working;
    stripped = titled;
    stripped.terminalTitle = "t";
    session.sessionID = "s";
    session.name = "label";
    const Case cases[] = {
        {"no object", "[]", {}},
        {"no pane", R"({"agent":"claude"})", {}},
        {"the pane's id is no string", R"({"pane_id":1})", {}},
        {"a shell", R"({"pane_id":"p1"})", shell},
        {"an agent that is null is still an agent", R"({"pane_id":"p1","agent":null})", bare},
        {"all mistyped",
            R"({"pane_id":"p1","workspace_id":1,"tab_id":[],"agent":2,"agent_status":{},"cwd":null,"foreground_cwd":1,
                "focused":"yes","revision":"7","state_change_seq":true,"terminal_title":1,"terminal_title_stripped":2,
                "name":3,"label":4,"agent_session":"s"})",
            bare},
        {"numbers that do not fit", R"({"pane_id":"p1","agent":null,"revision":1e300,"state_change_seq":-1e19})", bare},
        {"the stripped title is shown, the whole one tells the status",
            R"({"pane_id":"p1","agent":null,"terminal_title":"⠋ t","terminal_title_stripped":"t"})", stripped},
        {"a stripped title that is no string",
            R"({"pane_id":"p1","agent":null,"terminal_title":"⠋ t","terminal_title_stripped":null})", titled},
        {"the label names it, a source that is no string",
            R"({"pane_id":"p1","agent":null,"label":"label","agent_session":{"value":"s","source":1}})", session},
        {"whole",
            R"({"pane_id":"p2","workspace_id":"w","tab_id":"t","agent":"codex","agent_status":"done","cwd":"/a/b",
                "foreground_cwd":"/c","focused":true,"revision":7.9,"state_change_seq":3,"terminal_title":"T","name":"n",
                "label":"l","agent_session":{"value":"s","source":"o"},"more":1})",
            MuxleAgent{"p2", "w", "t", "codex", AgentStatus::done, "/a/b", "/c", true, 7, 3, "T", "n", "s", "o", {}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const auto agent = MuxleAgent::fromMuxle(JSON::parse(c.text));
        EXPECT_EQ(agent, c.agent);
        if (agent) {
            EXPECT_EQ(decode<MuxleAgent>(jsonValue(*agent)), *agent);
        }
    }
    EXPECT_FALSE(shell.isAgent());
    EXPECT_TRUE(bare.isAgent());
    EXPECT_EQ(encoded(shell),
        R"({"agent":"unknown","cwd":"","focused":false,"paneID":"p1","revision":0,"shell":true,"stateChangeSeq":-1,)"
        R"("status":"unknown","tabID":"","workspaceID":""})");
}

TEST(MuxleModels, namesAgentsForPeople)
{
    EXPECT_EQ(agentKind("claude"), AgentKind::claude);
    EXPECT_EQ(agentKind("Claude"), AgentKind::other);
    EXPECT_EQ(agentKind("other"), AgentKind::other);
    EXPECT_EQ(displayName(AgentKind::pi), "pi");
    EXPECT_EQ(displayName(agentKind("")), "Agent");

    struct Case {
        std::optional<std::string> name;
        std::optional<std::string> terminalTitle;
        std::string cwd;
        std::string title;
    };
    const Case cases[] = {{"n", "t", "/a/b", "n"}, {"", "t", "/a/b", "t"}, {{}, "", "/a/b", "b"},
        {{}, {}, "/a/b/", "b"}, {{}, {}, "", ""}, {{}, {}, "/", "/"}};
    for (const Case& c : cases) {
        EXPECT_EQ((MuxleAgent{.cwd = c.cwd, .terminalTitle = c.terminalTitle, .name = c.name}.title()), c.title);
    }
}

TEST(MuxleModels, readsWorkspacesAndTabsLeniently)
{
    EXPECT_FALSE(MuxleWorkspace::fromMuxle(JSON::parse(R"({"label":"x"})")));
    EXPECT_EQ(
        MuxleWorkspace::fromMuxle(JSON::parse(R"({"workspace_id":"w","number":"1","tokens":[],"agent_status":"x"})")),
        (MuxleWorkspace{.workspaceID = "w", .label = "w"}));
    const auto whole = MuxleWorkspace::fromMuxle(
        JSON::parse(R"({"workspace_id":"w","number":2.5,"label":"","agent_status":"idle","pane_count":3,"tab_count":1,
            "tokens":{"a":"b","c":1,"d":null},"active_tab_id":"t"})"));
    EXPECT_EQ(whole, (MuxleWorkspace{"w", 2, "", AgentStatus::idle, 3, 1, {{"a", "b"}}, "t"}));
    EXPECT_EQ(decode<MuxleWorkspace>(jsonValue(*whole)), *whole);

    EXPECT_FALSE(MuxleTab::fromMuxle(JSON::parse(R"({"tab_id":null})")));
    EXPECT_EQ(MuxleTab::fromMuxle(JSON::parse(R"({"tab_id":"t"})")), (MuxleTab{.tabID = "t"}));
    const auto tab = MuxleTab::fromMuxle(JSON::parse(
        R"({"tab_id":"t","workspace_id":"w","number":4,"label":"l","agent_status":"working","pane_count":2})"));
    EXPECT_EQ(tab, (MuxleTab{"t", "w", 4, "l", AgentStatus::working, 2}));
    EXPECT_EQ(decode<MuxleTab>(jsonValue(*tab)), *tab);
    EXPECT_THROW(decode<MuxleTab>(JSON::parse(R"({"tabID":"t"})")), DecodingError);
}

TEST(MuxleModels, tellsWhatAWorkspaceWaitsFor)
{
    struct Case {
        const char* what;
        std::map<std::string, std::string> tokens;
        std::optional<std::string> label;
        AgentStatus state;
    };
    const Case cases[] = {
        {"no tokens", {}, {}, AgentStatus::done},
        {"the label looks at blocked first, the state at working",
            {{"space_working", "busy"}, {"space_blocked", "waits"}}, "waits", AgentStatus::working},
        {"empty tokens count for nothing", {{"space_working", ""}, {"space_blocked", ""}}, {}, AgentStatus::done},
        {"past the empty one", {{"space_working", ""}, {"space_idle", "rests"}, {"space_unknown", "?"}}, "rests",
            AgentStatus::idle},
        {"other tokens", {{"space_kind", "header"}, {"working", "x"}}, {}, AgentStatus::done},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const MuxleWorkspace workspace{.workspaceID = "w", .status = AgentStatus::done, .tokens = c.tokens};
        EXPECT_EQ(workspace.attentionLabel(), c.label);
        EXPECT_EQ(workspace.attentionState(), c.state);
        EXPECT_EQ(workspace.isHeader(), c.tokens.count("space_kind") == 1);
    }
    EXPECT_FALSE((MuxleWorkspace{.workspaceID = "w", .tokens = {{"space_kind", "Header"}}}.isHeader()));
}

} // namespace

} // namespace tarnel
