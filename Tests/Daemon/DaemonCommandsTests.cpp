#include "Daemon/ServingDaemon.h"
#include "Support/Eventually.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Commands/Command.h"
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <latch>
#include <set>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;
using Strings = std::vector<std::string>;

/// The daemon looks at its environment, which is set before it starts and put back after its end.
class DaemonCommandsTest : public DaemonTest {
protected:
    DaemonCommandsTest()
    {
        ::setenv("MUXLE_CONFIG_PATH",
            folder
                .write("muxle.toml", R"(
[[keys.command]]
key = "prefix+f1"
command = "env > out"

[[keys.command]]
key = "prefix+f2"
command = "exit 3"

[[keys.command]]
key = "prefix+f3"
type = "popup"
command = "lazy"
)")
                .c_str(),
            1);
        ::setenv("MUXLE_ACTIVE_PANE_ID", "the daemon's own", 1);
        muxle.change([&](MuxleWorld& world) {
            for (MuxleWorld::Pane& pane : world.panes)
                pane.cwd = folder.path();
        });
    }
    ~DaemonCommandsTest() override
    {
        daemon = nullptr;
        for (const char* name : {"MUXLE_CONFIG_PATH", "MUXLE_ACTIVE_PANE_ID"})
            ::unsetenv(name);
    }

    void serve() { DaemonTest::serve({}, clock); }

    static void send(LineSocket& client, const std::string& id, const std::string& action)
    {
        client.writeLine(R"({"id":0,"method":"command","params":{"id":")" + id + R"(","action":)" + action + "}}");
    }
    /// The next reply to a command, snapshots passed over.
    static std::string reply(LineSocket& client)
    {
        while (const auto line = client.readLine()) {
            const JSON json = JSON::parse(*line);
            if (json["event"] && *json["event"] == JSON("command"))
                return json["reply"]->serialized();
        }
        return "end of stream";
    }
    std::string command(const std::string& id, const std::string& action) const
    {
        const auto client = connect();
        send(*client, id, action);
        return reply(*client);
    }
    Strings sent(const std::string& method, const std::string& member) const
    {
        Strings found;
        for (const auto& request : muxle.requests(method))
            found.push_back(stringOf(request.params.find(member)).value_or("none"));
        return found;
    }
    void setStatus(const std::string& pane, const std::string& status)
    {
        muxle.change([&](MuxleWorld& world) {
            world.pane(pane).status = status;
            ++world.pane(pane).stateChangeSeq;
        });
        ask(R"({"method":"queue"})");
    }

    SkippingClock clock;
};

std::string input(const std::string& pane, const std::string& text)
{
    return R"({"input":{"pane":")" + pane + R"(","text":")" + text + R"(","keys":[]}})";
}

std::string prompt(const std::string& pane, const std::string& text, const std::string& more = "")
{
    return R"({"prompt":{"pane":")" + pane + R"(","text":")" + text + R"(","mode":"after_turn","images":[])" + more
        + "}}";
}

std::string call(const std::string& method, const std::string& params)
{
    return R"({"muxle":{"method":")" + method + R"(","params":)" + params + "}}";
}

TEST_F(DaemonCommandsTest, answersEachRequestThatLooksAtAPane)
{
    folder.write(".claude/commands/ship.md", "# Ship it");
    folder.write(".codex/prompts/fix.md", "Fix what is broken");
    muxle.change([](MuxleWorld& world) {
        world.pane("p1").screens["recent_unwrapped"] =
            "────────────────────────\n❯ fix it\x1b[2m please\n────────────────────────";
        world.pane("p2").screens["recent_unwrapped"] = "› ";
        world.pane("p2").status = "blocked";
    });
    serve();
    struct Case {
        const char* line;
        testing::Matcher<std::string> reply;
    };
    const auto failed = [](const std::string& message) {
        return testing::Matcher<std::string>(R"({"error":{"code":"failed","message":")" + message + R"("},"id":1})");
    };
    const Case cases[] = {
        {R"({"id":1,"method":"card"})", failed("missing parameter: pane")},
        {R"({"id":1,"method":"card","params":{"pane":"p3"}})", failed("no agent in pane p3")},
        {R"({"id":1,"method":"card","params":{"pane":"p1"}})",
            testing::AllOf(StartsWith(R"({"id":1,"result":{"card":{"agentKind":"claude",)"),
                HasSubstr(R"("screenTail":"screen of p1")"), HasSubstr(R"("space":"project")"))},
        {R"({"id":1,"method":"card","params":{"pane":"p2"}})",
            testing::AllOf(StartsWith(R"({"id":1,"result":{"card":{)"), HasSubstr(R"("fingerprint":{)"),
                HasSubstr(R"("kind":"blocked")"))},
        {R"({"id":1,"method":"commands"})", failed("missing parameter: pane")},
        {R"({"id":1,"method":"commands","params":{"pane":"p3"}})", failed("no agent in pane p3")},
        {R"({"id":1,"method":"commands","params":{"pane":"p1"}})",
            testing::AllOf(
                StartsWith(
                    R"({"id":1,"result":[{"description":"Set a goal Claude checks before stopping","name":"/goal","source":"built-in"})"),
                HasSubstr(R"({"description":"Ship it","name":"/ship","source":"project"})"))},
        {R"({"id":1,"method":"commands","params":{"pane":"p2"}})",
            HasSubstr(R"({"description":"Fix what is broken","name":"/prompts:fix","source":"user"})")},
        {R"({"id":1,"method":"agent_prompt"})", failed("missing parameter: pane")},
        {R"({"id":1,"method":"agent_prompt","params":{"pane":"p1","kind":"claude"}})", R"({"id":1,"result":"fix it"})"},
        {R"({"id":1,"method":"agent_prompt","params":{"pane":"p1","kind":"strange"}})", R"({"id":1,"result":null})"},
        {R"({"id":1,"method":"agent_prompt","params":{"pane":"p1"}})", R"({"id":1,"result":null})"},
        {R"({"id":1,"method":"agent_prompt","params":{"pane":"p2","kind":"codex"}})", R"({"id":1,"result":""})"},
        {R"({"id":1,"method":"agent_prompt","params":{"pane":"p9","kind":"codex"}})",
            failed("muxle pane_not_found: no pane p9")},
        {R"({"id":1,"method":"observe","params":{"cols":80}})", failed("missing parameter: pane")},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        EXPECT_THAT(ask(c.line), c.reply);
    }
    muxle.stop(); // an item of the queue is shown without asking
    EXPECT_THAT(ask(R"({"id":1,"method":"card","params":{"pane":"p2"}})"), HasSubstr(R"("kind":"blocked")"));
    EXPECT_THAT(ask(R"({"id":1,"method":"card","params":{"pane":"p1"}})"), HasSubstr(R"("code":"failed")"));
}

TEST_F(DaemonCommandsTest, storesAttachments)
{
    serve();
    for (const char* params : {"{}", R"({"data":7})", R"({"data":"%"})"})
        EXPECT_EQ(ask(std::string(R"({"id":1,"method":"attach","params":)") + params + "}"),
            R"({"error":{"code":"failed","message":"missing parameter: data"},"id":1})");
    const auto store = [&](const std::string& more) {
        const JSON reply = JSON::parse(ask(R"({"id":1,"method":"attach","params":{"data":"aGVsbG8=")" + more + "}}"));
        return reply["result"] ? *(*reply["result"])["path"]->string() : reply.serialized();
    };
    const std::string attachments = folder / ".config/tarnel/attachments/";
    const std::string plain = store("");
    EXPECT_THAT(plain, MatchesRegex(attachments + "[0-9]+-[0-9]+-[0-9a-f]+\\.png"));
    EXPECT_EQ(Files::read(plain), "hello");
    EXPECT_THAT(store(R"(,"type":"JPEG")"), testing::EndsWith(".jpeg"));
    EXPECT_THAT(store(R"(,"name":"/tmp/a b.gif")"), testing::EndsWith("-a-b.gif"));

    daemon = nullptr;
    std::filesystem::remove_all(folder / ".config");
    folder.write(".config", "not a folder");
    serve();
    EXPECT_THAT(store(""), HasSubstr(R"("code":"failed")"));
}

TEST_F(DaemonCommandsTest, runsOnlyBoundShellCommandsWithWhatTheClientLooksAt)
{
    serve();
    const auto run = [&](const std::string& params) {
        return ask(R"({"id":1,"method":"run_command","params":)" + params + "}");
    };
    const auto failed = [](const std::string& message) {
        return R"({"error":{"code":"failed","message":")" + message + R"("},"id":1})";
    };
    EXPECT_EQ(run("{}"), failed("missing parameter: command"));
    EXPECT_EQ(run(R"({"command":""})"), failed("missing parameter: command"));
    for (const char* command : {"lazy", "env", "env > out "})
        EXPECT_EQ(run(std::string(R"({"command":")") + command + "\"}"),
            failed(std::string("not a shell command in this machine's muxle config: ") + command));
    EXPECT_EQ(run(R"({"command":"exit 3"})"), R"({"id":1,"result":{"finished":true,"started":true,"status":3}})");

    const std::string where = R"({"command":"env > out","cwd":")" + folder.path() + "\"";
    EXPECT_THAT(run(where + "}"), HasSubstr(R"("status":0)"));
    EXPECT_THAT(Files::read(folder / "out").value(), testing::Not(HasSubstr("MUXLE_ACTIVE_")));
    run(where + R"(,"env":{"MUXLE_ACTIVE_PANE_ID":"p1","MUXLE_ACTIVE_TAB_ID":7,"PATH":"/x","SECRET":"s"}})");
    const std::string out = "\n" + Files::read(folder / "out").value();
    EXPECT_THAT(out, HasSubstr("\nMUXLE_ACTIVE_PANE_ID=p1\n"));
    EXPECT_THAT(out, HasSubstr("\nMUXLE_SOCKET_PATH=" + muxle.socketPath() + "\n"));
    for (const char* absent : {"\nPATH=/x\n", "SECRET", "MUXLE_ACTIVE_TAB_ID"})
        EXPECT_THAT(out, testing::Not(HasSubstr(absent)));

    EXPECT_EQ(command("c1", R"({"shell":{"command":"exit 3"}})"),
        R"({"id":"c1","result":{"finished":true,"focused":"p1","started":true,"status":3},"status":"done"})");
    command("c2", R"({"shell":{"command":"env > out"}})");
    const std::string own = "\n" + Files::read(folder / "out").value();
    for (const std::string& variable : {std::string("PANE_ID=p1"), std::string("TAB_ID=t1"),
             std::string("WORKSPACE_ID=w1"), "PANE_CWD=" + folder.path()})
        EXPECT_THAT(own, HasSubstr("\nMUXLE_ACTIVE_" + variable + "\n"));
}

/// A menu that closes, and has the agent work, on any key.
void showMenu(ScriptedMuxle& muxle)
{
    muxle.change([](MuxleWorld& world) {
        world.pane("p1").status = "blocked";
        world.pane("p1").screen = "Which?\n 1. Tea\n 2. Coffee\n 3. Type something.\n";
    });
    muxle.handle("pane.send_keys", [&muxle](const JSON::Object&) {
        muxle.change([](MuxleWorld& world) {
            world.pane("p1").status = "working";
            world.pane("p1").screen = "Brewing";
        });
        return JSON(JSON::Object());
    });
}

TEST_F(DaemonCommandsTest, answersItemsOfTheQueue)
{
    showMenu(muxle);
    serve();
    const JSON items = *JSON::parse(ask(R"({"method":"queue"})"))["result"];
    const std::string print = R"("fingerprint":)" + (*items[0])["fingerprint"]->serialized();
    const auto answer = [&](const std::string& members) {
        return ask(R"({"id":1,"method":"answer","params":{)" + members + "}}");
    };
    EXPECT_THAT(answer(R"("choice":"Tea")"), HasSubstr(R"("code":"failed","message":")"));
    EXPECT_EQ(answer(print), R"({"id":1,"result":{"failed":{"_0":"empty answer"}}})");
    EXPECT_EQ(answer(print + R"(,"choice":"Coffee","idempotencyKey":"k")"),
        R"({"id":1,"result":{"applied":{"method":"menu 2"}}})");
    EXPECT_EQ(answer(print + R"(,"choice":"Coffee","idempotencyKey":"k")"),
        R"({"id":1,"result":{"duplicate":{"_0":{"value":{"applied":{"method":"menu 2"}}}}}})");
    EXPECT_EQ(answer(print + R"(,"choice":"Tea")"), R"({"id":1,"result":{"stale":{}}})");
    EXPECT_EQ(muxle.requests("pane.send_keys").size(), 1u);

    showMenu(muxle);
    EXPECT_EQ(command("c1", R"({"answer":{"_0":{)" + print + R"(,"choice":"Tea"},"images":[]}})"),
        R"({"id":"c1","result":{"applied":{"method":"menu 1"}},"status":"done"})");
    showMenu(muxle);
    EXPECT_EQ(
        command("c2",
            R"({"answer":{"_0":{)" + print + R"(,"text":"like this"},"images":[{"data":"aGVsbG8=","type":"png"}]}})"),
        R"({"id":"c2","result":{"applied":{"method":"text"}},"status":"done"})");
    EXPECT_THAT(sent("pane.send_text", "text").at(0), MatchesRegex("like this\n" + folder.path() + "/[^\n]*\\.png"));
}

TEST_F(DaemonCommandsTest, carriesOutEachKindOfCommand)
{
    muxle.handle("tab.rename", [](const JSON::Object& params) { return params; });
    serve();
    struct Case {
        const char* what;
        std::string action;
        std::string reply; // without the id
        Strings texts = {}; // typed
        Strings keys = {};
        Strings prompts = {};
        const char* status = "idle"; // of p1
    };
    const auto failed = [](const std::string& text) { return R"("error":")" + text + R"(","status":"failed")"; };
    const std::string steer = R"({"prompt":{"pane":"p1","text":"go","mode":"steer_now","images":[]}})";
    const Case cases[] = {
        {"text, then keys", R"({"input":{"pane":"p1","text":"hi","keys":["esc","enter"]}})", R"("status":"done")",
            {"hi"}, {R"(["esc","enter"])"}},
        {"keys alone", R"({"input":{"pane":"p1","keys":["esc"]}})", R"("status":"done")", {}, {R"(["esc"])"}},
        {"nothing to type", R"({"input":{"pane":"p1","text":"","keys":[]}})", R"("status":"done")"},
        {"a prompt", prompt("p1", "go"), R"("status":"done")", {}, {}, {"go"}},
        {"a prompt into a running turn", steer, R"("status":"queued")", {}, {}, {"go"}, "working"},
        {"a prompt to a blocked agent", prompt("p1", "go"), R"("status":"done")", {}, {}, {"go"}, "blocked"},
        {"a draft becomes the prompt", prompt("p1", "go home", R"(,"typed":"go away")"), R"("status":"done")",
            {"\x7f\x7f\x7f\x7fhome"}, {R"(["enter"])"}},
        {"a draft that is the prompt", prompt("p1", "go", R"(,"typed":"go")"), R"("status":"done")", {},
            {R"(["enter"])"}},
        {"an empty draft", prompt("p1", "a\\nb", R"(,"typed":"")"), R"("status":"done")", {"a\x1b\rb"},
            {R"(["enter"])"}},
        {"a prompt for nobody", prompt("p3", "go"), failed("no agent in pane p3")},
        {"a call", call("tab.rename", R"({"tab_id":"t1","label":"x"})"),
            R"("result":{"label":"x","tab_id":"t1"},"status":"done")"},
        {"a call of the focused pane", call("tab.rename", R"({"a":"$focused","b":["$focused"],"c":"$focused"})"),
            R"("result":{"a":"p1","b":["$focused"],"c":"p1"},"status":"done")"},
        {"a call that fails", call("no.such", "{}"), failed("muxle unknown_method: unknown method no.such")},
        {"a message that is not held", R"({"sendNow":{"message":"none"}})", R"("status":"done")"},
        {"a command that is not bound", R"({"shell":{"command":"x"}})",
            failed("not a shell command in this machine's muxle config: x")},
    };
    int number = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        setStatus("p1", c.status);
        muxle.forgetRequests();
        const std::string id = "c" + std::to_string(++number);
        const JSON got = JSON::parse(command(id, c.action));
        JSON::Object wanted = *JSON::parse("{" + c.reply + "}").object();
        wanted["id"] = id;
        EXPECT_EQ(got.serialized(), JSON(wanted).serialized());
        EXPECT_EQ(sent("pane.send_text", "text"), c.texts);
        EXPECT_EQ(sent("agent.prompt", "text"), c.prompts);
        Strings keys;
        for (const auto& request : muxle.requests("pane.send_keys"))
            keys.push_back(request.params.find("keys")->serialized());
        EXPECT_EQ(keys, c.keys);
    }

    muxle.forgetRequests();
    muxle.change([](MuxleWorld& world) { world.pane("p1").isFocused = false; });
    for (const std::string& action :
        {call("tab.rename", R"({"a":"$focused"})"), std::string(R"({"shell":{"command":"exit 3"}})")})
        EXPECT_THAT(command("f" + std::to_string(++number), action), HasSubstr(R"("error":"no pane has the focus")"));
    EXPECT_THAT(muxle.requests("tab.rename"), IsEmpty());

    for (const char* params :
        {"{}", "[]", R"({"id":"x"})", R"({"id":7,"action":{"sendNow":{"message":"m"}}})", R"({"id":"x","action":{}})",
            R"({"id":"x","action":{"fly":{}}})", R"({"id":"x","action":{"input":{"pane":"p"}}})",
            R"({"id":"x","action":{"shell":{"command":"x"},"sendNow":{"message":"y"}}})"})
        EXPECT_EQ(ask(std::string(R"({"id":9,"method":"command","params":)") + params + "}"),
            R"({"error":{"code":"bad_request","message":"not a command"},"id":9})")
            << params;
}

TEST_F(DaemonCommandsTest, promptsCarryTheirImagesAsPaths)
{
    serve();
    const auto withImages = [&](const std::string& text) {
        muxle.forgetRequests();
        command("c" + text,
            R"({"prompt":{"pane":"p1","text":")" + text
                + R"(","mode":"after_turn","images":[{"data":"YQ==","type":"png","name":"a.png"},{"data":"Yg==","type":"gif"}]}})");
        return Text::split(sent("agent.prompt", "text").at(0), '\n').size();
    };
    EXPECT_EQ(withImages("look"), 3u);
    const std::string combined = sent("agent.prompt", "text").at(0);
    EXPECT_THAT(combined, MatchesRegex("look\n" + folder.path() + "/[^\n]*-a\\.png\n[^\n]*\\.gif"));
    EXPECT_EQ(Files::read(combined.substr(combined.rfind('\n') + 1)), "b");
    EXPECT_EQ(withImages(""), 2u);
}

TEST_F(DaemonCommandsTest, holdsPromptsUntilTheTurnEnds)
{
    serve();
    setStatus("p1", "working");
    const auto client = connect();
    send(*client, "a", prompt("p1", "first", R"(,"typed":"fir")"));
    EXPECT_EQ(reply(*client), R"({"id":"a","status":"held"})");
    EXPECT_THAT(sent("pane.send_text", "text"), ElementsAre("\x7f\x7f\x7f"))
        << "the draft is part of the held prompt now";
    for (const char* id : {"b", "c"}) {
        send(*client, id, prompt("p1", id));
        EXPECT_EQ(reply(*client), std::string(R"({"id":")") + id + R"(","status":"held"})");
    }
    send(*client, "b", prompt("p1", "b"));
    EXPECT_EQ(reply(*client), R"({"id":"b","status":"held"})") << "again, and not twice in the queue";
    EXPECT_THAT(sent("agent.prompt", "text"), IsEmpty());

    setStatus("p1", "idle");
    EXPECT_EQ(reply(*client), R"({"id":"a","result":{},"status":"done"})");
    setStatus("p1", "idle"); // it has not taken the prompt up yet
    setStatus("p1", "done");
    EXPECT_THAT(sent("agent.prompt", "text"), ElementsAre("first"));
    setStatus("p1", "working");
    send(*client, "now", R"({"sendNow":{"message":"c"}})");
    std::set<std::string> replies{reply(*client), reply(*client)};
    EXPECT_TRUE(replies.contains(R"({"id":"now","status":"done"})"));
    EXPECT_TRUE(replies.contains(R"({"id":"c","result":{},"status":"queued"})"));
    setStatus("p1", "done");
    // Both ways to send the held prompt are told.
    EXPECT_EQ(reply(*client), R"({"id":"b","result":{},"status":"done"})");
    EXPECT_EQ(reply(*client), R"({"id":"b","result":{},"status":"done"})");
    EXPECT_THAT(sent("agent.prompt", "text"), ElementsAre("first", "c", "b"));

    setStatus("p1", "working");
    for (const char* id : {"d", "e"}) {
        send(*client, id, prompt("p1", id));
        reply(*client);
    }
    setStatus("p1", "working");
    setStatus("p1", "idle");
    EXPECT_THAT(reply(*client), HasSubstr(R"("id":"d")"));
    clock.sleep(11s); // the agent never shows as working, and the next prompt goes all the same
    setStatus("p1", "idle");
    EXPECT_THAT(reply(*client), HasSubstr(R"("id":"e")"));
}

TEST_F(DaemonCommandsTest, leavesATraceOfWhatChangesAPane)
{
    serve();
    muxle.change([](MuxleWorld& world) { world.pane("p1").status = "working"; });
    struct Case {
        std::string line;
        std::string trace;
    };
    const auto request = [](const char* method, const char* params) {
        return std::string(R"({"method":")") + method + R"(","params":)" + params + "}";
    };
    const auto asCommand = [](const std::string& id, const std::string& action) {
        return R"({"method":"command","params":{"id":")" + id + R"(","action":)" + action + "}}";
    };
    const std::string print =
        R"("fingerprint":{"machine":"m","paneID":"p4","stateChangeSeq":1,"kind":"plan","contentHash":"0"})";
    const Case cases[] = {
        {request("answer", "{}"), "request answer "},
        {request("prompt", R"({"pane":"p1"})"), "request prompt p1"},
        {request("attach", "{}"), "request attach "},
        {request("run_command", R"({"command":"secret"})"), "request run_command "},
        {request("input", R"({"pane":"p1","text":"secret"})"), "request input p1"},
        {request("keys", R"({"pane":"p1","keys":[]})"), "request keys p1"},
        {request("focus", R"({"pane":7,"method":"x"})"), "request focus x"},
        {request("muxle", R"({"method":"tab.list","params":{}})"), "request muxle tab.list"},
        {asCommand("1", R"({"muxle":{"method":"tab.rename","params":{"label":"x","tab_id":"t1"}}})"),
            R"(command muxle tab.rename {"label":"x","tab_id":"t1"})"},
        {asCommand("2",
             input("p1",
                 "se\xc3\xa9"
                 "cret")),
            "command input p1 7 chars keys []"},
        {asCommand("3", R"({"input":{"pane":"p1","keys":["esc","enter"]}})"),
            R"(command input p1 0 chars keys ["esc","enter"])"},
        {asCommand("4", prompt("p1", "secret")), "command prompt p1 6 chars after_turn"},
        {asCommand("5", R"({"prompt":{"pane":"p1","text":"","mode":"steer_now","images":[]}})"),
            "command prompt p1 0 chars steer_now"},
        {asCommand("6", R"({"answer":{"_0":{)" + print + R"(},"images":[]}})"), "command answer p4"},
        {asCommand("7", R"({"shell":{"command":"secret"}})"), "command shell"},
    };
    for (const Case& c : cases) {
        connect()->writeLine(c.line);
        const auto traced = [&] {
            const Strings found = lines.with(" " + c.trace);
            return !found.empty() && found[0].substr(found[0].find(' ') + 1) == c.trace;
        };
        ASSERT_TRUE(eventually(traced)) << c.trace;
        EXPECT_THAT(lines.with(c.trace)[0], MatchesRegex("....-..-..T..:..:..Z .*"));
    }
    for (const char* quiet : {"ping", "snapshot", "queue", "next", "search"})
        ask(request(quiet, "{}"));
    ask(request("commands", R"({"pane":"p1"})"));
    EXPECT_EQ(lines.with("Z request ").size() + lines.with("Z command ").size(), std::size(cases));
    EXPECT_THAT(lines.with("secret"), IsEmpty());
}

TEST_F(DaemonCommandsTest, runsARepeatedIdOnceAndTellsEveryone)
{
    std::latch released(1);
    muxle.handle("pane.send_text", [&](const JSON::Object&) {
        released.wait();
        return JSON(JSON::Object());
    });
    serve();
    std::vector<std::shared_ptr<LineSocket>> clients;
    for (int i = 0; i < 20; ++i) {
        clients.push_back(connect());
        send(*clients.back(), "same", input("p1", "once"));
        ask(*clients.back(), R"({"id":1,"method":"ping"})"); // by then the command before it has been taken
    }
    clients.front()->close(); // which changes nothing for the others, nor for the command
    released.count_down();
    for (std::size_t i = 1; i < clients.size(); ++i)
        EXPECT_EQ(reply(*clients[i]), R"({"id":"same","status":"done"})");
    EXPECT_EQ(command("same", input("p1", "once")), R"({"id":"same","status":"done"})");
    EXPECT_EQ(muxle.requests("pane.send_text").size(), 1u);
}

TEST_F(DaemonCommandsTest, showsACommandsEffectBeforeItsReply)
{
    muxle.handle("tab.rename", [this](const JSON::Object& params) {
        muxle.change([&](MuxleWorld& world) { world.tab("t1").label = *params.find("label")->string(); });
        return JSON(JSON::Object());
    });
    serve();
    const auto client = connect();
    const auto other = connect();
    for (const auto& each : {client, other})
        ask(*each, R"({"id":1,"method":"subscribe"})");
    for (int i = 0; i < 20; ++i) {
        const std::string label = "label " + std::to_string(i);
        send(*client, label, call("tab.rename", R"({"label":")" + label + "\"}"));
        std::string newest;
        for (std::string line; line.find(R"("event":"command")") == line.npos; line = client->readLine().value())
            newest = line;
        EXPECT_THAT(newest, HasSubstr("\"" + label + "\""));
        for (std::string line; line.find("\"" + label + "\"") == line.npos;)
            line = other->readLine().value();
    }
}

TEST_F(DaemonCommandsTest, aClientThatEndsItsSendingIsStillAnswered)
{
    serve();
    ask(R"({"method":"snapshot"})");
    for (int i = 0; i < 50; ++i) {
        const auto client = connect();
        client->writeLine(R"({"id":1,"method":"subscribe"})");
        client->writeLine(R"({"id":2,"method":"screen","params":{"pane":"p1"}})");
        client->shutdownWrite();
        Strings received;
        while (const auto line = client->readLine())
            received.push_back(line->substr(0, 18));
        std::sort(received.begin(), received.end());
        EXPECT_THAT(received, ElementsAre(R"({"event":"snapshot)", R"({"id":1,"result":{)", R"({"id":2,"result":")"));
    }
}

} // namespace

} // namespace tarnel
