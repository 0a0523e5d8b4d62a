#include "Tarnel/TarnelProgram.h"
#include "TarnelCore/Base/Text.h"
#include "tarnel/KeptOpener.h"
#include <gmock/gmock.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

std::size_t countOf(std::string_view text, std::string_view part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

TEST_F(TarnelProgramTest, aPromptIsHeldUntilTheTurnEndsThoughTheDaemonRestarts)
{
    muxle.change([](MuxleWorld& world) { world.pane("p1").status = "working"; });
    RunningTarnel program({"prompt", "p1", "then", "the docs"}, environment());
    program.awaitOutput("Held: ");
    daemon.reset();
    program.awaitErrors("has gone; trying again");
    serve();
    EXPECT_TRUE(eventually(
        [&] { // held by the new daemon too, which was sent it again
            const Result asked = run({"call", "snapshot"});
            muxle.change([](MuxleWorld& world) { world.pane("p1").status = "idle"; });
            muxle.pushEvent("pane.agent_status_changed");
            return !muxle.requests("agent.prompt").empty();
        },
        20s));
    EXPECT_EQ(program.wait(), 0) << program.errors();
    EXPECT_THAT(program.output(), HasSubstr("Done: the agent has the prompt.\n"));
    EXPECT_EQ(countOf(program.output(), "Done"), 1U);
    const auto prompts = muxle.requests("agent.prompt");
    ASSERT_EQ(prompts.size(), 1U);
    EXPECT_EQ(JSON(prompts[0].params).serialized(), R"({"target":"p1","text":"then the docs"})");
}

TEST_F(TarnelProgramTest, ctrlCLeavesAHeldPromptHeld)
{
    muxle.change([](MuxleWorld& world) { world.pane("p1").status = "working"; });
    RunningTarnel program({"prompt", "p1", "later", "--json"}, environment());
    program.awaitOutput(R"("status":"held")");
    program.signal(SIGINT);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_THAT(program.errors(), HasSubstr("left held: the daemon gives the prompt to the agent when its turn ends"));
    EXPECT_TRUE(muxle.requests("agent.prompt").empty());
    muxle.change([](MuxleWorld& world) { world.pane("p1").status = "idle"; });
    muxle.pushEvent("pane.agent_status_changed");
    EXPECT_TRUE(muxle.awaitRequests("agent.prompt", 1));
}

TEST_F(TarnelProgramTest, promptsComeFromPipesAndFilesAndMayBeGivenUp)
{
    Result result = run({"prompt", "p1", "[fix, this]"});
    EXPECT_EQ(*muxle.requests("agent.prompt").at(0).params.find("text"), JSON("[fix, this]"));
    result = run({"prompt", "p1", "-"}, "from\na pipe\n");
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(*muxle.requests("agent.prompt").at(1).params.find("text"), JSON("from\na pipe"));

    const std::string picture = folder.write("a b.png", "\x89PNG\r\n\x1a\nrest");
    result = run({"prompt", "p1", "like this", "--image", picture});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(*muxle.requests("agent.prompt").at(2).params.find("text")->string(),
        testing::MatchesRegex("like this\n/.*png"));
    EXPECT_EQ(run({"prompt", "p1", "x", "--image", folder.write("text.png", "no picture")}).status, 2);

    muxle.change([](MuxleWorld& world) { world.pane("p1").status = "working"; });
    result = run({"prompt", "p1", "now!", "--now"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("Queued: "));
    result = run({"prompt", "p1", "some day", "--timeout", "300ms"});
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.errors, HasSubstr("keeps the prompt until its turn ends"));
    result = run({"prompt", "p9", "x"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.errors, HasSubstr("the prompt failed: no agent in pane p9"));
}

TEST_F(TarnelProgramTest, eventsAndWatchOutliveTheDaemonAndSayNothingTwice)
{
    RunningTarnel events({"events"}, environment());
    RunningTarnel watch({"watch"}, environment());
    RunningTarnel watchJSON({"watch", "--json"}, environment());
    events.awaitOutput(R"("queue":[])");
    watch.awaitOutput("Nothing waits for you");
    askPermission("p1", "one");
    muxle.pushEvent("pane.agent_status_changed");
    events.awaitOutput(R"("kind":"blocked")");
    watch.awaitOutput("● Blocked");
    watchJSON.awaitOutput(R"({"item":)");
    daemon.reset();
    events.awaitErrors("trying again");
    watch.awaitErrors("has gone; trying again");
    serve();
    askPermission("p2", "two");
    muxle.pushEvent("pane.agent_status_changed");
    events.awaitOutput(R"("paneID":"p2","stateChangeSeq":2})");
    watch.awaitOutput("p2");
    watchJSON.awaitOutput(R"("paneID":"p2")");
    for (RunningTarnel* program : {&events, &watch, &watchJSON}) {
        program->signal(SIGTERM);
        EXPECT_EQ(program->wait(), 0);
    }
    // A look at the world in the middle of its change may show one more item: no line is told twice all the same.
    EXPECT_EQ(countOf(watch.output(), "● Blocked  p1  "), 1U) << watch.output();
    EXPECT_EQ(countOf(watch.output(), "● Blocked  p2  "), 1U) << watch.output();
    for (const std::string_view line : Text::splitNonEmpty(watchJSON.output(), '\n'))
        EXPECT_EQ(countOf(watchJSON.output(), line), 1U) << watchJSON.output();
    std::string last;
    for (std::size_t at = 0; at < events.output().size();) {
        const std::size_t end = events.output().find('\n', at);
        JSON event = JSON::parse(events.output().substr(at, end - at));
        JSON content = *event["snapshot"];
        content.object()->erase("takenAt");
        EXPECT_NE(content.serialized(), last);
        last = content.serialized();
        at = end + 1;
    }
}

TEST_F(TarnelProgramTest, aFollowedLogGoesOnAndPrintsNothingTwice)
{
    const auto say = [](const std::string& text) {
        return R"({"type":"assistant","timestamp":"2026-03-02T09:01:00Z","message":{"role":"assistant","content":[{"type":"text","text":")"
            + text + "\"}]}}\n";
    };
    const std::string file = ".claude/projects/-home-me-project/s1.jsonl";
    folder.write(file, say("zero") + say("one"));
    muxle.change([](MuxleWorld& world) { world.pane("p1").sessionID = "s1"; });
    RunningTarnel program({"log", "p1", "-n", "1", "--follow"}, environment());
    program.awaitOutput("one");
    folder.append(file, say("two"));
    program.awaitOutput("two");
    daemon.reset();
    program.awaitErrors("trying again");
    folder.append(file, say("three"));
    serve();
    program.awaitOutput("three");
    program.signal(SIGINT);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(program.output(), "Agent  2026-03-02 09:01\n  one\n  two\n  three\n");
}

TEST(KeptOpener, opensAgainOnlyAfterAFailure)
{
    struct Channel final : LineChannel {
        std::optional<std::string> readLine() override
        {
            return isOver ? std::nullopt : std::optional<std::string>("{}");
        }
        void writeLine(std::string_view) override { }
        void close() noexcept override { isOver = true; }
        bool isOver = false;
    };
    struct Opener final : LineChannelOpener {
        std::shared_ptr<LineChannel> open(std::chrono::duration<double>) override
        {
            ++opened;
            return last = std::make_shared<Channel>();
        }
        [[nodiscard]] std::string label() const override { return "x"; }
        int opened = 0;
        std::shared_ptr<Channel> last;
    };
    const auto inner = std::make_shared<Opener>();
    KeptOpener kept(inner);
    kept.open(1s)->readLine();
    kept.open(1s)->writeLine("x");
    EXPECT_EQ(inner->opened, 1);
    inner->last->isOver = true;
    EXPECT_FALSE(kept.open(1s)->readLine());
    EXPECT_TRUE(kept.open(1s)->readLine());
    EXPECT_EQ(inner->opened, 2);
}

} // namespace

} // namespace tarnel
