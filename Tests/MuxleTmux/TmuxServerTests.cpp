#include "Support/BareConnection.h"
#include "Support/Eventually.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Base/Base64.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Muxle/MuxleClient.h"
#include "TarnelCore/Muxle/TabLayout.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include "muxle-tmux/Server.h"
#include <algorithm>
#include <csignal>
#include <gtest/gtest.h>

namespace tarnel::tmux {

namespace {

using namespace std::chrono_literals;

/// A tmux server of the test's own, without anybody's configuration.
class PrivateTmux {
public:
    explicit PrivateTmux(const std::string& socket)
        : address(socket, processEnvironment())
    {
    }
    ~PrivateTmux() { run({"kill-server"}); }
    PrivateTmux(const PrivateTmux&) = delete;
    PrivateTmux& operator=(const PrivateTmux&) = delete;

    /// Starts the server with a session of 100 by 30 cells, whose panes run a bare shell.
    void start(const std::string& session, const std::string& command = "exec env PS1='$ ' sh") const
    {
        Process::Options options = address.command({"-f", "/dev/null", "new-session", "-d", "-s", session, "-x", "100",
            "-y", "30", command, ";", "set", "-g", "default-command", "exec env PS1='$ ' sh"});
        std::erase(options.arguments, "-N"); // this one starts the server
        EXPECT_EQ(Process(options).waitFor(20s), 0);
    }

    std::string run(const std::vector<std::string>& arguments) const
    {
        return std::string(Text::trimmed(address.output(arguments, 20s).value_or("failed")));
    }

    const TmuxAddress address;
};

class MuxleTmuxServer : public testing::Test {
protected:
    void serve(std::chrono::milliseconds patience = 8s)
    {
        server = std::make_unique<Server>(Server::Options{.address = tmux.address,
            .home = folder.path(),
            .socketPath = folder / "muxle/s",
            .log =
                [this](const std::string& line) {
                    MutexLock lock(mutex);
                    logged.push_back(line);
                },
            .patience = patience});
        client = std::make_unique<MuxleClient>(std::make_shared<MuxleSocket>(folder / "muxle/s"));
    }

    JSON call(std::string_view method, const JSON::Object& params = {}) { return client->request(method, params); }

    std::string codeOf(std::string_view method, const JSON::Object& params = {})
    {
        try {
            call(method, params);
        } catch (const MuxleError& error) {
            EXPECT_NE(error.message, "");
            return error.code;
        }
        return "";
    }

    std::optional<MuxleAgent> pane(const std::string& id)
    {
        for (const MuxleAgent& each : client->panes()) {
            if (each.paneID == id)
                return each;
        }
        return std::nullopt;
    }

    TabLayout layout(const std::string& tab)
    {
        const JSON snapshot = call("session.snapshot");
        for (const TabLayout& each : MuxleClient::decodeList<TabLayout>((*snapshot["snapshot"])["layouts"])) {
            if (each.tabID == tab)
                return each;
        }
        return {};
    }

    bool shows(const std::string& id, const std::string& text)
    {
        return eventually([&] { return client->read(id, "visible", std::nullopt).find(text) != std::string::npos; });
    }

    /// A program that writes whatever is typed to `file`, and asks for pastes to be marked.
    std::string recorder(const std::string& file) const
    {
        return "stty raw -echo; printf '\\033[?2004hready'; exec cat > " + (folder / file);
    }

    std::string recorded(const std::string& file) const { return Files::read(folder / file).value_or(""); }

    Mutex mutex;
    std::vector<std::string> logged TARNEL_GUARDED_BY(mutex);
    const TemporaryFolder folder;
    PrivateTmux tmux{folder / "tmux"};
    std::unique_ptr<Server> server;
    std::unique_ptr<MuxleClient> client;
};

/// Collects the lines that a connection is sent.
class Listener {
public:
    Listener(const std::string& socket, const std::string& method, const JSON& params)
        : channel(LineSocket::connect(socket))
    {
        channel->writeJSON(JSON::object({{"id", 1}, {"method", method}, {"params", params}}));
        EXPECT_NE((*channel->readJSON())["result"], nullptr);
        reader = std::thread([this] {
            try {
                while (const auto line = channel->readJSON()) {
                    MutexLock lock(mutex);
                    lines.push_back(*line);
                }
            } catch (const SocketError&) {
            }
            isOver = true;
        });
    }
    ~Listener()
    {
        channel->close();
        reader.join();
    }

    std::vector<JSON> all()
    {
        MutexLock lock(mutex);
        return lines;
    }

    /// Whether a line comes with these members.
    bool hears(const JSON::Object& members)
    {
        return eventually([&] {
            const auto heard = all();
            return std::any_of(heard.begin(), heard.end(), [&](const JSON& line) {
                return std::all_of(members.begin(), members.end(),
                    [&](const JSON::Member& each) { return line[each.key] && *line[each.key] == each.value; });
            });
        });
    }

    std::atomic<bool> isOver = false;

private:
    const std::shared_ptr<LineSocket> channel;
    Mutex mutex;
    std::vector<JSON> lines TARNEL_GUARDED_BY(mutex);
    std::thread reader;
};

JSON subscriptions(const std::vector<std::string>& types, const std::vector<std::string>& panes = {})
{
    JSON::Array list;
    for (const std::string& type : types)
        list.push_back(JSON::object({{"type", type}}));
    for (const std::string& each : panes)
        list.push_back(JSON::object({{"type", "pane.agent_status_changed"}, {"pane_id", each}}));
    return JSON::object({{"subscriptions", list}});
}

TEST_F(MuxleTmuxServer, readsPanes)
{
    tmux.start("work", "printf '\\033[31mred\\033[0m\\n'; seq 40; printf '%0150d' 7; exec cat");
    serve();
    ASSERT_TRUE(shows("p0", "0007"));
    const std::string wrapped = std::string(149, '0') + "7";
    EXPECT_EQ(client->read("p0", "visible", 2), std::string(100, '0') + "\n" + std::string(49, '0') + "7");
    EXPECT_EQ(client->read("p0", "detection", 2), "40\n" + wrapped);
    EXPECT_EQ(client->read("p0", "recent_unwrapped", 42).substr(0, 6), "red\n1\n") << "from far above the screen";
    EXPECT_EQ(client->read("p0", "recent_unwrapped", 9999, "ansi").find("\033[31mred"), 0u);
    EXPECT_EQ(client->paneSize("p0"), (MuxleClient::PaneSize{100, 30}));
}

TEST_F(MuxleTmuxServer, refusesWhatItCannotDo)
{
    tmux.start("work");
    serve();
    struct Case {
        const char* what;
        std::string_view method;
        JSON::Object params;
        const char* code;
    };
    const Case cases[] = {
        {"no such method", "pane.explode", {}, "unknown_method"},
        {"no pane given", "pane.read", {}, "invalid_params"},
        {"no such pane", "pane.read", {{"pane_id", "p99"}}, "not_found"},
        {"no id at all", "pane.close", {{"pane_id", "p0; kill-server"}}, "not_found"},
        {"no such source", "pane.read", {{"pane_id", "p0"}, {"source", "all"}}, "invalid_params"},
        {"lines of another type", "pane.read", {{"pane_id", "p0"}, {"lines", "3"}}, "invalid_params"},
        {"no such key", "pane.send_keys", {{"pane_id", "p0"}, {"keys", JSON::Array{"a", "entr"}}}, "invalid_params"},
        {"no such direction", "pane.split", {{"pane_id", "p0"}, {"direction", "in"}}, "invalid_params"},
        {"no such split", "layout.set_split_ratio", {{"tab_id", "t0"}, {"split_id", "s0"}, {"ratio", 0.5}},
            "not_found"},
        {"no neighbour", "pane.swap", {{"pane_id", "p0"}, {"direction", "left"}}, "not_found"},
        {"what tmux refuses", "workspace.rename", {{"workspace_id", "w0"}, {"name", ""}}, "tmux_error"},
        {"nobody to prompt", "agent.prompt", {{"target", "claude"}, {"text", "x"}}, "not_found"},
        {"no such event", "events.subscribe", {{"subscriptions", JSON::Array{JSON::object({{"type", "x"}})}}},
            "invalid_params"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(codeOf(c.method, c.params), c.code) << c.what;
    EXPECT_EQ(client->read("p0", "visible", std::nullopt).find('a'), std::string::npos) << "no key of a bad list";

    const auto raw = LineSocket::connect(folder / "muxle/s");
    for (const char* line : {"{", "[]", "{\"id\":3}", "{\"id\":3,\"method\":\"ping\",\"params\":[]}"}) {
        raw->writeLine(line);
        EXPECT_NE((*raw->readJSON())["error"], nullptr) << line;
    }
    raw->writeLine(R"({"id":4,"method":"ping"})");
    EXPECT_NE((*raw->readJSON())["result"], nullptr) << "the connection goes on";
}

TEST_F(MuxleTmuxServer, typesExactly)
{
    tmux.start("work", recorder("typed"));
    serve();
    ASSERT_TRUE(shows("p0", "ready"));
    std::string text = "'\"$HOME\" `x` #{pane_id} #(date) ; \\ ~é漢😀\t{}\x01\033[A\r\n";
    client->sendText("p0", text);
    client->sendKeys("p0", {"enter", "up", "ctrl+c", "é", ";", "alt+x", "shift+tab"});
    text += "\r\033[A\003é;\033x\033[Z";
    ASSERT_TRUE(eventually([&] { return recorded("typed").size() >= text.size(); }));
    EXPECT_EQ(recorded("typed"), text);

    // Its user looks back through the history meanwhile, and stays there.
    tmux.run({"copy-mode", "-t", "%0"});
    client->sendKeys("p0", {"y", "down", "enter"});
    client->sendText("p0", "z");
    client->prompt("p0", "a\nb");
    text += "y\033[B\rz\033[200~a\rb\033[201~\r";
    ASSERT_TRUE(eventually([&] { return recorded("typed").size() >= text.size(); }));
    EXPECT_EQ(recorded("typed"), text);
    EXPECT_EQ(tmux.run({"display-message", "-p", "-t", "%0", "#{pane_in_mode}"}), "1");
}

TEST_F(MuxleTmuxServer, pastesLongPromptsInOnePiece)
{
    tmux.start("work", recorder("typed"));
    serve();
    ASSERT_TRUE(shows("p0", "ready"));
    std::string text;
    while (text.size() < 100'000)
        text += "line \"of\" 'the' #{prompt} ; $x \\ é😀\n";
    client->prompt("p0", text);
    const std::string expected = "\033[200~" + Text::replacingAll(text, "\n", "\r") + "\033[201~\r";
    ASSERT_TRUE(eventually([&] { return recorded("typed").size() >= expected.size(); }));
    EXPECT_TRUE(recorded("typed") == expected);
    EXPECT_EQ(tmux.run({"list-buffers"}), "") << "the user's buffers stay as they were";
}

TEST_F(MuxleTmuxServer, arrangesPanes)
{
    tmux.start("work");
    serve();
    const JSON split = call("pane.split", {{"pane_id", "p0"}, {"direction", "right"}, {"cwd", folder.path()}});
    EXPECT_EQ(stringOf((*split["pane"])["pane_id"]), "p1");
    EXPECT_TRUE(eventually([&] { return pane("p1")->cwd == folder.path(); }));
    EXPECT_TRUE(pane("p0")->focused) << "a new pane takes no focus that it was not given";
    call("pane.split", {{"pane_id", "p1"}, {"direction", "down"}, {"command", recorder("x")}, {"focus", true}});
    EXPECT_TRUE(pane("p2")->focused);
    TabLayout now = layout("t0");
    ASSERT_EQ(now.panes.size(), 3u);
    EXPECT_EQ(now.focusedPaneID, "p2");
    EXPECT_EQ(now.area, (CellRect{0, 0, 100, 30}));
    ASSERT_EQ(now.splits->size(), 2u);

    for (const LayoutSplit& each : *now.splits)
        call("layout.set_split_ratio", {{"tab_id", "t0"}, {"split_id", each.id}, {"ratio", 0.3}});
    const TabLayout resized = layout("t0");
    EXPECT_DOUBLE_EQ(resized.splits->at(0).ratio, 30.0 / 100);
    EXPECT_DOUBLE_EQ(resized.splits->at(1).ratio, 9.0 / 30);
    EXPECT_EQ(tmux.run({"display-message", "-p", "-t", "%0", "#{pane_width}"}), "29");

    call("pane.zoom", {{"pane_id", "p0"}});
    now = layout("t0");
    EXPECT_TRUE(now.zoomed);
    EXPECT_EQ(now.focusedPaneID, "p0");
    EXPECT_EQ(now.panes, resized.panes) << "as they will stand again";
    call("pane.zoom", {{"pane_id", "p1"}, {"zoomed", true}});
    EXPECT_EQ(layout("t0").focusedPaneID, "p1");
    call("pane.zoom", {{"pane_id", "p1"}, {"zoomed", false}});
    EXPECT_FALSE(layout("t0").zoomed);

    call("pane.swap", {{"pane_id", "p1"}, {"direction", "down"}});
    EXPECT_EQ(layout("t0").panes[1].rect.y, 9);
    EXPECT_EQ(layout("t0").focusedPaneID, "p1") << "which it was before";
    call("pane.swap", {{"pane_id", "p0"}, {"with", "p1"}});
    EXPECT_EQ(layout("t0").focusedPaneID, "p1");
    EXPECT_EQ(layout("t0").splits->at(0).id, now.splits->at(0).id);
    EXPECT_EQ(layout("t0").splits->at(1).id, now.splits->at(1).id);
    call("pane.rename", {{"pane_id", "p1"}, {"name", "#{x} \"it\""}});
    EXPECT_EQ(pane("p1")->name, "#{x} \"it\"");
    call("pane.rename", {{"pane_id", "p1"}, {"name", ""}});
    EXPECT_EQ(pane("p1")->name, std::nullopt);
    call("pane.close", {{"pane_id", "p2"}});
    EXPECT_FALSE(pane("p2"));
}

TEST_F(MuxleTmuxServer, arrangesTabsAndWorkspaces)
{
    tmux.start("work");
    serve();
    const JSON made = call("workspace.create", {{"label", "other"}, {"cwd", folder.path()}, {"focus", true}});
    const std::string space = stringOf((*made["workspace"])["workspace_id"]).value_or("");
    const JSON tab = call("tab.create", {{"label", "50% #{x}"}, {"command", recorder("x")}});
    EXPECT_EQ(stringOf((*tab["tab"])["workspace_id"]), space) << "in the focused one";
    EXPECT_EQ(stringOf((*tab["tab"])["label"]), "50% #{x}");
    const std::string id = stringOf((*tab["tab"])["tab_id"]).value_or("");
    call("tab.focus", {{"tab_id", id}});
    EXPECT_EQ(booleanOf((*(*call("tab.list")["tabs"])[2])["focused"]), true);
    call("tab.rename", {{"tab_id", id}, {"name", "-x"}});
    call("tab.move", {{"tab_id", id}, {"workspace_id", "w0"}});
    const JSON tabs = call("tab.list");
    EXPECT_EQ(stringOf((*(*tabs["tabs"])[1])["tab_id"]), id);
    EXPECT_EQ(stringOf((*(*tabs["tabs"])[1])["label"]), "-x");
    EXPECT_EQ(stringOf((*(*tabs["tabs"])[1])["workspace_id"]), "w0");
    tmux.run({"new-window", "-d", "-t", "work:7"});
    const auto order = [&] {
        return tmux.run({"list-windows", "-t", "work", "-F", "#I#{window_id}#{?window_active,*,}"});
    };
    ASSERT_EQ(order(), "0@0*\n1@2\n7@3");
    struct Move {
        const char* tab;
        int index;
        const char* order; // the indices and the window that is shown stay
    };
    for (const Move& c : {Move{"t3", 0, "0@3\n1@0*\n7@2"}, Move{"t0", 2, "0@3\n1@2\n7@0*"},
             Move{"t0", 2, "0@3\n1@2\n7@0*"}, Move{"t2", 0, "0@2\n1@3\n7@0*"}}) {
        const JSON moved = call("tab.move", {{"tab_id", c.tab}, {"index", c.index}});
        EXPECT_EQ(order(), c.order);
        EXPECT_EQ((*moved["tab"])["number"]->integer(), c.index + 1);
    }
    EXPECT_EQ(codeOf("tab.move", {{"tab_id", id}, {"index", 3}}), "invalid_params");
    call("workspace.move", {{"workspace_id", space}, {"index", 0}});
    EXPECT_EQ(client->workspaces().at(0).workspaceID, space);
    EXPECT_EQ(client->workspaces().at(0).number, 1);
    EXPECT_EQ(codeOf("workspace.move", {{"workspace_id", space}, {"index", 2}}), "invalid_params");
    call("workspace.move", {{"workspace_id", space}, {"index", 1}});
    call("workspace.rename", {{"workspace_id", space}, {"name", "new name"}});
    EXPECT_EQ(client->workspaces().at(1).label, "new name");
    call("workspace.focus", {{"workspace_id", "w0"}});
    EXPECT_TRUE(pane("p0")->focused || layout("t0").workspaceID == "w0");

    // The last ones take the server with them; whichever of its sessions ours was in.
    call("tab.close", {{"tab_id", id}});
    call("workspace.close", {{"workspace_id", "w0"}});
    EXPECT_EQ(client->workspaces().size(), 1u);
    call("workspace.close", {{"workspace_id", space}});
    EXPECT_TRUE(client->workspaces().empty());
}

TEST_F(MuxleTmuxServer, tellsOfChangesAsTheyHappen)
{
    tmux.start("work");
    tmux.run({"new-session", "-d", "-s", "other", "-x", "80", "-y", "24"});
    serve();
    Listener events(folder / "muxle/s", "events.subscribe",
        subscriptions({"pane.created", "pane.closed", "layout.updated", "tab.renamed", "pane.agent_detected",
                          "workspace.created", "pane.focused"},
            {"p1"}));
    struct Case {
        std::vector<std::string> command;
        JSON::Object event;
    };
    const Case cases[] = {
        {{"split-window", "-d", "-t", "%1"}, {{"event", "pane.created"}, {"pane_id", "p2"}, {"workspace_id", "w1"}}},
        {{"split-window", "-d", "-t", "%0"}, {{"event", "layout.updated"}, {"tab_id", "t0"}}},
        {{"rename-window", "-t", "@1", "name"}, {{"event", "tab.renamed"}, {"tab_id", "t1"}, {"label", "name"}}},
        {{"select-pane", "-t", "%2"}, {{"event", "pane.focused"}, {"pane_id", "p2"}}},
        {{"set", "-p", "-t", "%1", "@agent", "codex"}, {{"event", "pane.agent_detected"}, {"agent", "codex"}}},
        {{"set", "-p", "-t", "%1", "@agent_status", "blocked"},
            {{"event", "pane.agent_status_changed"}, {"pane_id", "p1"}, {"agent_status", "blocked"}}},
        {{"kill-pane", "-t", "%2"}, {{"event", "pane.closed"}, {"pane_id", "p2"}}},
        {{"new-session", "-d", "-s", "third"}, {{"event", "workspace.created"}, {"workspace_id", "w2"}}},
    };
    for (const Case& c : cases) {
        tmux.run(c.command);
        EXPECT_TRUE(events.hears(c.event)) << Text::joined(c.command, " ");
    }
    for (const JSON& each : events.all())
        EXPECT_NE(stringOf(each["event"]), "pane.agent_status_changed p0") << "not asked for";
    tmux.run({"set", "-p", "-t", "%1", "@agent_session", "my session"});
    ASSERT_TRUE(eventually([&] { return pane("p1")->sessionID == "my session"; }));
    EXPECT_EQ(pane("p1")->sessionSource, "option");
}

TEST_F(MuxleTmuxServer, findsAgentsAndWhatTheyDo)
{
    // An agent as a script of the shell's, which works for a moment on each line that it gets.
    const std::string agent = folder.write("bin/claude",
        "while read -r line; do for i in 1 2 3 4; do echo \"$line $i\"; sleep 0.1; done; "
        "if [ \"$line\" = ask ]; then printf 'Do you want to\\nproceed?\\n ❯ 1. Yes\\n   2. No\\n'; fi; done\n");
    tmux.start("work");
    tmux.run({"split-window", "-d", "-t", "%0"});
    serve();
    EXPECT_TRUE(client->agents().empty());
    const std::string session = "0a1b2c3d-1111-4222-8333-444455556666";
    client->sendText("p1", "sh " + agent + " --resume " + session + "\r");
    ASSERT_TRUE(eventually([&] { return pane("p1")->agent == "claude"; }));
    EXPECT_EQ(pane("p1")->sessionID, session);
    EXPECT_EQ(pane("p0")->shell, true);
    ASSERT_TRUE(eventually([&] { return pane("p1")->status != AgentStatus::working; }));

    const auto before = *pane("p1");
    client->prompt("p1", "go");
    EXPECT_TRUE(eventually([&] { return pane("p1")->status == AgentStatus::working; }));
    EXPECT_TRUE(eventually([&] { return pane("p1")->status == AgentStatus::done; }));
    EXPECT_EQ(pane("p1")->stateChangeSeq, before.stateChangeSeq + 2);
    EXPECT_GT(pane("p1")->revision, before.revision);
    client->focus("p1");
    EXPECT_EQ(pane("p1")->status, AgentStatus::idle) << "its user has come to see it";
    client->focus("p0");
    client->prompt("p1", "ask");
    EXPECT_TRUE(eventually([&] { return pane("p1")->status == AgentStatus::blocked; }));
    tmux.run({"select-pane", "-t", "%1", "-T", "⠋ Working"});
    EXPECT_TRUE(eventually([&] { return pane("p1")->status == AgentStatus::working; }));
    EXPECT_EQ(pane("p1")->terminalTitle, "Working");
    client->sendKeys("p1", {"ctrl+d"});
    EXPECT_TRUE(eventually([&] { return pane("p1")->shell == true; }));
}

TEST_F(MuxleTmuxServer, followsTheServer)
{
    serve();
    EXPECT_TRUE(client->panes().empty()) << "no server is no error";
    EXPECT_EQ(codeOf("pane.send_text", {{"pane_id", "p0"}, {"text", "x"}}), "not_found");
    Listener events(folder / "muxle/s", "events.subscribe", subscriptions({"pane.created", "pane.closed"}));
    tmux.start("first");
    EXPECT_TRUE(events.hears({{"event", "pane.created"}}));
    EXPECT_TRUE(eventually([&] { return !client->panes().empty(); }));
    tmux.run({"new-session", "-d", "-s", "second"});
    tmux.run({"kill-session", "-t", "first"});
    EXPECT_TRUE(eventually([&] { return !pane("p0") && pane("p1"); })) << "the session that it was attached to";
    tmux.run({"kill-server"});
    EXPECT_TRUE(events.hears({{"event", "pane.closed"}, {"pane_id", "p1"}}));
    tmux.start("again");
    EXPECT_TRUE(eventually([&] { return pane("p0").has_value(); }));
}

TEST_F(MuxleTmuxServer, changesNothingThatTheUserSees)
{
    tmux.start("work");
    tmux.run({"set", "-g", "focus-events", "on"});
    tmux.run({"respawn-pane", "-k", "-t", "%0",
        "stty raw -echo; printf '\\033[?1004hready'; exec cat > " + (folder / "focus")});
    tmux.run({"new-session", "-d", "-s", "other", "-x", "90", "-y", "20"});
    const std::vector<std::vector<std::string>> questions{{"show-options", "-g"}, {"show-options", "-s"},
        {"show-options", "-g", "-w"}, {"show-environment", "-g"}, {"show-environment", "-t", "work"},
        {"list-windows", "-a", "-F", "#{window_id} #{window_width} #{window_height} #{window_layout} #{pane_id}"},
        {"list-sessions"}, {"list-sessions", "-F", "#{session_name} #{session_attached}"}, {"list-buffers"}};
    std::vector<std::string> before;
    for (const auto& question : questions)
        before.push_back(tmux.run(question));
    serve();
    ASSERT_EQ(client->panes().size(), 2u);
    ASSERT_TRUE(shows("p0", "ready"));
    EXPECT_EQ(client->read("p0", "recent_unwrapped", 100), "ready");
    client->sendText("p1", "x");
    std::vector<std::string> after;
    for (const auto& question : questions)
        after.push_back(tmux.run(question));
    EXPECT_EQ(after, before);
    EXPECT_TRUE(eventually([&] { return recorded("focus").ends_with("\033[O"); })) << "no pane has the focus";
    EXPECT_EQ(tmux.run({"list-clients", "-F", "#{client_control_mode}"}), "1") << "all that can be seen of it";
}

TEST_F(MuxleTmuxServer, answersWhenTmuxHangs)
{
    tmux.start("work");
    serve(2s);
    ASSERT_EQ(client->panes().size(), 1u);
    const auto process = static_cast<pid_t>(std::stol(tmux.run({"display-message", "-p", "#{pid}"})));
    ASSERT_GT(process, 1);
    ASSERT_EQ(::kill(process, SIGSTOP), 0);
    EXPECT_EQ(codeOf("pane.list"), "timeout");
    EXPECT_EQ(codeOf("ping"), "") << "what needs no tmux goes on";
    ::kill(process, SIGCONT);
    EXPECT_TRUE(eventually([&] { return codeOf("pane.list").empty(); }));
    EXPECT_EQ(client->panes().size(), 1u);
}

TEST_F(MuxleTmuxServer, letsOneProcessServeASocket)
{
    tmux.start("work");
    serve();
    const auto second = [&](const std::string& path) {
        const Server unwanted({.address = tmux.address, .home = folder.path(), .socketPath = path, .log = {}});
    };
    EXPECT_THROW(second(folder / "muxle/s"), std::runtime_error);
    EXPECT_THROW(second(folder.write("precious", "text")), std::runtime_error);
    EXPECT_EQ(Files::read(folder / "precious"), "text");
    EXPECT_EQ(client->panes().size(), 1u) << "the first goes on";
    server.reset();
    EXPECT_FALSE(Files::exists(folder / "muxle/s"));
    serve();
    EXPECT_EQ(client->panes().size(), 1u);
}

TEST_F(MuxleTmuxServer, turnsOtherUsersAway)
{
    if (!isRoot())
        GTEST_SKIP() << "only root can start a process of another user";
    serve();
    const std::string socket = folder / "muxle/s";
    EXPECT_EQ(welcomeOfOtherUser(socket), Welcome::cannotConnect) << "by the modes of the folders and the socket";
    for (const std::string& each : {folder.path(), folder / "muxle", socket}) // even where modes would let it in
        std::filesystem::permissions(each, std::filesystem::perms(0777));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(welcomeOfOtherUser(socket), Welcome::turnedAway);
    EXPECT_NE(call("ping")["pong"], nullptr) << "its own user's go on";
    MutexLock lock(mutex);
    EXPECT_EQ(logged, std::vector<std::string>(3, "turned away a connection of user 65534"));
}

/// Whether a frame with `isFull` comes whose bytes hold `text`.
bool showsFrame(Listener& viewer, bool isFull, const std::string& text)
{
    return eventually([&] {
        const auto lines = viewer.all();
        return std::any_of(lines.begin(), lines.end(), [&](const JSON& line) {
            return stringOf(line["type"]) == "terminal.frame" && booleanOf(line["full"]) == isFull
                && decodeBase64(stringOf(line["bytes"]).value_or("")).value_or("").find(text) != std::string::npos;
        });
    });
}

TEST_F(MuxleTmuxServer, streamsWhatAPaneShows)
{
    tmux.start("work");
    tmux.run({"new-session", "-d", "-s", "other", "-x", "80", "-y", "24", "printf 'held'; exec sh"});
    serve();
    ASSERT_TRUE(shows("p1", "held"));
    const auto clients = [&] { return tmux.run({"list-clients", "-F", "#{client_flags}"}); };
    const auto countOfClients = [&] { return Text::splitNonEmpty(clients(), '\n').size(); };
    {
        Listener viewer(
            folder / "muxle/s", "pane.observe", JSON::object({{"pane_id", "p1"}, {"cols", 80}, {"rows", 24}}));
        ASSERT_TRUE(showsFrame(viewer, true, "held"));
        EXPECT_EQ(integerOf(viewer.all().front()["width"]), 80);
        client->sendText("p1", "printf 'new\\033[1mbold'\r");
        EXPECT_TRUE(showsFrame(viewer, false, "new\033[1mbold"));
        tmux.run({"split-window", "-d", "-h", "-t", "%1"});
        EXPECT_TRUE(viewer.hears({{"type", "terminal.frame"}, {"full", true}, {"width", 40}}));
        client->sendText("p1", "printf '\\033[?1049hsecond'\r");
        EXPECT_TRUE(showsFrame(viewer, true, "second"));
        EXPECT_EQ(countOfClients(), 2u);
    }
    EXPECT_TRUE(eventually([&] { return countOfClients() == 1; })) << "the viewer has gone";
    Listener viewer(folder / "muxle/s", "pane.observe", JSON::object({{"pane_id", "p1"}}));
    ASSERT_TRUE(showsFrame(viewer, true, "second"));
    call("pane.close", {{"pane_id", "p1"}});
    EXPECT_TRUE(viewer.hears({{"type", "terminal.closed"}}));
    EXPECT_TRUE(eventually([&] { return viewer.isOver.load(); }));
}

} // namespace

} // namespace tarnel::tmux
