#include "EndToEnd/DemoWorld.h"
#include "Support/Eventually.h"
#include "TarnelCore/Base/Text.h"
#include <gmock/gmock.h>

namespace tarnel {

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

/// A world with a terminal of 100 by 30 on which a sub-command runs, above it a line that was there before.
class OnATerminal : public ::testing::Test {
protected:
    void start(const std::string& words)
    {
        pane = world.startCommand("echo before; " TARNEL_PROGRAM " " + words + "; echo left with $?; stty -a; exec sh");
    }
    bool shows(std::string_view text)
    {
        return eventually([&] { return world.screen(pane).find(text) != std::string::npos; }, patience);
    }
    /// Whether the program has ended so, and the terminal is as it was.
    void expectLeft(const std::string& status)
    {
        EXPECT_TRUE(shows("left with " + status)) << world.screen(pane);
        EXPECT_TRUE(shows(" icanon")) << world.screen(pane);
        EXPECT_THAT(world.screen(pane), AllOf(HasSubstr("before"), HasSubstr(" echo "), Not(HasSubstr("●"))));
        const DemoWorld::Run state = world.tmux({"display-message", "-p", "-t", "%" + pane.substr(1),
            "#{alternate_on} #{cursor_flag} #{bracket_paste_flag}"});
        EXPECT_THAT(state.output, ::testing::StartsWith("0 1")) << state.output;
    }
    /// Sends a signal to the sub-command, whose shell waits for it.
    void signal(const std::string& name)
    {
        const std::string shell = "$(" TMUX_PROGRAM " -S " + (world.folder / "tmux.sock") + " display-message -p -t %"
            + pane.substr(1) + " '#{pane_pid}')";
        EXPECT_EQ(world.run("kill -" + name + " $(ps -o pid= --ppid " + shell + ")").status, 0);
    }

    DemoWorld world;
    SnapshotWatch watch{world.daemon.socketPath()};
    std::string pane;
};

class Top : public OnATerminal {
protected:
    void SetUp() override
    {
        permission = world.startAgent("claude-permission");
        ASSERT_TRUE(awaitItem(watch, permission, AttentionKind::permission));
        question = world.startAgent("claude-question");
        ASSERT_TRUE(awaitItem(watch, question, AttentionKind::question));
    }
    void begin()
    {
        start("top");
        ASSERT_TRUE(shows("2 wait for you")) << world.screen(pane);
        ASSERT_TRUE(shows("? help")) << world.screen(pane);
    }

    std::string permission;
    std::string question;
};

TEST_F(Top, answersByNumberAndGivesTheScreenBack)
{
    begin();
    EXPECT_THAT(
        world.screen(pane), AllOf(HasSubstr("● Permission"), HasSubstr("● Question"), Not(HasSubstr("before"))));
    world.type(pane, {"?"});
    EXPECT_TRUE(shows("answer with the choice of that number"));
    world.type(pane, {"x"});
    EXPECT_TRUE(eventually([&] { return world.screen(pane).find("any key closes") == std::string::npos; }, patience));

    world.type(pane, {"/", "d", "a", "t", "e", "s", "Enter"});
    EXPECT_TRUE(shows("2  date-fns")) << world.screen(pane);
    world.type(pane, {"2"});
    EXPECT_TRUE(shows("has taken the answer \"date-fns\".")) << world.screen(pane);
    EXPECT_TRUE(eventually(
        [&] { return world.screen(question).find("All dates now go through date-fns.") != std::string::npos; },
        patience));

    world.type(pane, {"Escape"}); // alone: with a key right behind it, it would be another key
    EXPECT_TRUE(shows("The whole queue is shown again.")) << world.screen(pane);
    world.type(pane, {"g"});
    EXPECT_TRUE(shows("Asks to use Bash")) << world.screen(pane);
    world.type(pane, {"t", "u", "s", "e", "Space", "y", "a", "r", "n", "Enter"});
    EXPECT_TRUE(shows("has taken the answer \"use yarn\".")) << world.screen(pane);
    EXPECT_TRUE(
        eventually([&] { return world.screen(permission).find("Done: use yarn") != std::string::npos; }, patience));
    world.type(pane, {"q"});
    expectLeft("0");
}

TEST_F(Top, goesToAPaneAndClosesIt)
{
    begin();
    world.type(pane, {"o"});
    EXPECT_TRUE(shows("is in front in the multiplexer.")) << world.screen(pane);
    EXPECT_TRUE(shows("· in front")) << world.screen(pane);
    EXPECT_EQ(Text::trimmed(world.tmux({"display-message", "-p", "-t", "demo:", "#{pane_id}"}).output),
        "%" + question.substr(1));
    world.type(pane, {"X", "y"});
    EXPECT_TRUE(shows("is closed.")) << world.screen(pane);
    EXPECT_TRUE(shows("1 waits for you")) << world.screen(pane);
    EXPECT_THAT(
        world.tmux({"list-panes", "-a", "-F", "#{pane_id}."}).output, Not(HasSubstr("%" + question.substr(1) + ".")));
    world.type(pane, {"q"});
    expectLeft("0");
}

TEST_F(Top, givesTheScreenBackHoweverItEnds)
{
    for (const auto& [name, status] : {std::pair("TERM", "0"), {"HUP", "0"}, {"INT", "0"}, {"SEGV", "139"}}) {
        SCOPED_TRACE(name);
        if (TARNEL_SLOWDOWN > 1 && std::string_view(name) == "SEGV")
            continue; // a sanitizer keeps this signal for itself
        begin();
        signal(name);
        expectLeft(status);
    }
}

TEST_F(Top, followsTheWindowAndTheDaemon)
{
    begin();
    world.tmux({"resize-window", "-t", "%" + pane.substr(1), "-x", "40", "-y", "12"});
    EXPECT_TRUE(shows("enter card")) << world.screen(pane);
    EXPECT_THAT(world.screen(pane), AllOf(HasSubstr("● Permission"), Not(HasSubstr("Asked"))));
    world.type(pane, {"j", "Enter"});
    EXPECT_TRUE(shows("esc back")) << world.screen(pane);
    world.tmux({"resize-window", "-t", "%" + pane.substr(1), "-x", "120", "-y", "30"});
    EXPECT_TRUE(shows("│")) << world.screen(pane);
    world.endDaemon();
    EXPECT_TRUE(shows("has gone; trying again")) << world.screen(pane);
    world.startDaemon();
    EXPECT_TRUE(shows("2 wait for you")) << world.screen(pane);
    world.type(pane, {"q"});
    expectLeft("0");
}

TEST_F(OnATerminal, watchFollowsTheQueueAndLeavesTheScreenClean)
{
    const std::string permission = world.startAgent("claude-permission");
    const std::string error = world.startAgent("codex-error");
    ASSERT_TRUE(awaitItem(watch, permission, AttentionKind::permission));
    ASSERT_TRUE(awaitItem(watch, error, AttentionKind::error));
    start("watch");
    EXPECT_TRUE(shows("demo   2 wait for you, 0 are at work")) << world.screen(pane);
    EXPECT_TRUE(shows("● Permission")) << world.screen(pane);
    world.type(permission, {"1"});
    EXPECT_TRUE(shows("1 waits for you, 1 is at work")) << world.screen(pane);
    world.type(pane, {"x", "C-c"});
    expectLeft("0");
}

TEST_F(OnATerminal, attachShowsAPaneAndTypesIntoIt)
{
    const std::string shown = world.startCommand("PS1='$ ' sh");
    start("attach " + shown);
    EXPECT_TRUE(shows("ctrl+] leaves")) << world.screen(pane);
    world.type(pane, {"e", "c", "h", "o", "Space", "1", "x", "BSpace", "2", "Enter"});
    EXPECT_TRUE(eventually([&] { return world.screen(shown).find("\n12\n") != std::string::npos; }, patience))
        << world.screen(shown);
    EXPECT_TRUE(shows("\n12\n")) << world.screen(pane);
    world.tmux({"resize-window", "-t", "%" + pane.substr(1), "-x", "90", "-y", "20"});
    world.type(pane, {"e", "c", "h", "o", "Space", "3", "4", "Enter"});
    EXPECT_TRUE(shows("\n34\n")) << world.screen(pane);
    world.type(pane, {"C-]"});
    EXPECT_TRUE(shows("Left " + shown + ".")) << world.screen(pane);
    expectLeft("0");

    start("attach " + shown);
    EXPECT_TRUE(shows("\n34\n")) << world.screen(pane);
    signal("TERM");
    expectLeft("0");

    start("attach " + shown);
    EXPECT_TRUE(shows("\n34\n")) << world.screen(pane);
    world.end(shown);
    EXPECT_TRUE(shows("The pane " + shown + " has closed.")) << world.screen(pane);
    expectLeft("0");

    start("attach " + shown);
    EXPECT_TRUE(shows("tarnel: there is no pane " + shown));
}

} // namespace

} // namespace tarnel
