#include "Tarnel/TarnelProgram.h"
#include "tarnel/CommandLine.h"
#include <gmock/gmock.h>

namespace tarnel {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// A record of Claude's for the session "s1".
constexpr const char* recordPath = ".claude/projects/-home-me-project/s1.jsonl";
constexpr const char* record =
    R"({"type":"user","timestamp":"2026-03-02T09:00:00Z","message":{"role":"user","content":"Make the tests pass"}})"
    "\n"
    R"({"type":"assistant","timestamp":"2026-03-02T09:01:00Z","message":{"role":"assistant","content":[{"type":"text","text":"I run them."},{"type":"tool_use","id":"t1","name":"Bash","input":{"command":"npm test"}}]}})"
    "\n"
    R"({"type":"user","timestamp":"2026-03-02T09:02:00Z","message":{"role":"user","content":[{"type":"tool_result","tool_use_id":"t1","content":"ok"}]}})"
    "\n";

TEST_F(TarnelProgramTest, readsWhatTheDaemonKnows)
{
    folder.write(recordPath, record);
    muxle.change([](MuxleWorld& world) {
        world.pane("p1").sessionID = "s1";
        world.pane("p1").status = "working";
        world.pane("p2").screen = "\x1b[2Jfirst   line\n\x1b]0;evil\aSecond\n\n";
    });
    askPermission("p2", "rm -rf build");
    struct Case {
        std::vector<std::string> arguments;
        std::vector<std::string> shown;
    };
    const Case cases[] = {
        {{"queue"}, {"KIND", "PANE", "● Blocked", "p2"}},
        {{"queue", "--json"}, {R"("kind":"blocked")", R"("paneID":"p2")"}},
        {{"next"}, {"● Blocked", "studio/p2", "1. Yes", "tarnel answer 'studio/p2#2/blocked/"}},
        {{"next", "--after", "p2", "--json"}, {R"("paneID":"p2")"}},
        {{"show", "p1"}, {"● working", "You asked", "Make the tests pass", "I run them."}},
        {{"show", "studio/p2"}, {"rm -rf build", "3. No"}},
        {{"show", "p1", "--json"}, {R"("card":{)"}},
        {{"log", "p1"}, {"You  2026-03-02 09:00", "  Make the tests pass", "Agent", "  I run them.", "· Ran npm test"}},
        {{"log", "p1", "-n", "1"}, {"Ran npm test"}},
        {{"log", "p1", "--json"}, {R"("entries":[)"}},
        {{"screen", "p2", "--json"}, {R"(\n   2. Yes, and don't ask again\n)"}},
        {{"search", "npm", "TEST"}, {"PANE", "p1", "tool", "Ran npm test"}},
        {{"search", "nowhere"}, {"No agent's record holds \"nowhere\"."}},
        {{"search", "npm", "--json"}, {R"([{"pane":"p1")"}},
        {{"call", "focus", R"({"pane":"p2"})"}, {R"({"focused":true})"}},
        {{"doctor"}, {"✓ Socket", "✓ Daemon: version", "✓ Multiplexer", "✓ Records of claude: 1 of 1"}},
        {{"doctor", "--json"}, {R"("state":"ok","subject":"Socket")"}},
        {{"--version"}, {"tarnel 0."}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.arguments));
        const Result result = run(c.arguments);
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_THAT(result.output, Not(HasSubstr("\x1b")));
        for (const std::string& shown : c.shown)
            EXPECT_THAT(result.output, HasSubstr(shown));
    }
    EXPECT_THAT(run({"log", "p1", "-n", "1"}).output, Not(HasSubstr("Make the tests pass")));
}

TEST_F(TarnelProgramTest, screensAreHarmless)
{
    muxle.change(
        [](MuxleWorld& world) { world.pane("p2").screen = "\x1b[2Jfirst   line\n\x1b]0;evil\a  second\u009b31m\n\n"; });
    EXPECT_EQ(run({"screen", "p2"}).output, "first   line\n  second\n");
    EXPECT_THAT(run({"call", "screen", R"({"pane":"p2"})"}).output, Not(HasSubstr("\u009b")));
}

TEST_F(TarnelProgramTest, endsWithTheStatusThatSaysWhy)
{
    struct Case {
        std::vector<std::string> arguments;
        int status;
        const char* said;
    };
    const Case cases[] = {
        {{"show", "p9"}, 1, "there is no pane p9; there are p1 (claude, project), p2 (codex, project)"},
        {{"screen", "p2", "--timeout", "100ms"}, 4, "--timeout"},
        {{"call", "fly"}, 1, "unknown method fly"},
        {{}, 2, "--help"},
        {{"qeue"}, 2, "there is no command qeue; did you mean: tarnel queue"},
        {{"show"}, 2, "pane"},
        {{"queue", "--nonsense"}, 2, "--help"},
        {{"queue", "--timeout", "soon"}, 2, "write it as 30s"},
        {{"queue", "--host", "-oProxyCommand=x"}, 2, ""},
        {{"queue", "--host", "two words"}, 2, "is no host"},
        {{"call", "ping", "[1]"}, 2, "must be a JSON object"},
        {{"call", "ping", "--host", "local", "--host", "local"}, 2, "--host only once"},
        {{"answer", "p1"}, 1, "asks nothing"},
        {{"prompt", "p1"}, 2, "say what to prompt"},
        {{"prompt", "p1", "x", "--image", "/nonexistent.png"}, 2, "no such file"},
        {{"queue", "--socket", "/nonexistent/d.sock"}, 3,
            "start the daemon with: tarneld --socket /nonexistent/d.sock"},
        {{"watch", "--socket", "/nonexistent/d.sock"}, 3, "start the daemon with"},
        {{"events", "--socket", "/nonexistent/d.sock"}, 3, "start the daemon with"},
        {{"prompt", "p1", "x", "--socket", "/nonexistent/d.sock"}, 3, "start the daemon with"},
        {{"log", "p1", "--follow", "--socket", "/nonexistent/d.sock"}, 3, "start the daemon with"},
        {{"doctor", "--socket", "/nonexistent/d.sock"}, 1, ""},
        {{"call", "screen", R"({"pane":"p1"})", "--timeout", "100ms"}, 4,
            "did not answer in time; wait longer with --timeout"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.arguments));
        std::vector<std::string> arguments = c.arguments;
        const bool hangs = c.status == static_cast<int>(ExitStatus::timeout);
        muxle.misbehave(hangs ? ScriptedMuxle::Fault::hang : ScriptedMuxle::Fault::none, "pane.read");
        const Result result = run(arguments);
        EXPECT_EQ(result.status, c.status) << result.errors;
        EXPECT_THAT(result.errors, HasSubstr(c.said));
    }
    EXPECT_THAT(run({"doctor", "--socket", "/nonexistent/d.sock"}).output,
        HasSubstr("✗ Socket: there is no /nonexistent/d.sock\n  try: tarneld --socket /nonexistent/d.sock\n"));
}

TEST_F(TarnelProgramTest, everyHelpHasAnExample)
{
    for (const char* command : {"queue", "watch", "next", "show", "log", "screen", "search", "answer", "prompt", "call",
             "events", "config", "doctor", "completion", "top", "attach"}) {
        const Result result = run({command, "--help"});
        EXPECT_EQ(result.status, 0);
        EXPECT_THAT(result.output, AllOf(HasSubstr("Example"), HasSubstr(std::string("tarnel ") + command)));
    }
}

} // namespace

} // namespace tarnel
