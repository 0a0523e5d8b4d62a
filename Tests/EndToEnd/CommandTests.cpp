#include "EndToEnd/DemoWorld.h"
#include "Support/Eventually.h"
#include <algorithm>
#include <gmock/gmock.h>

namespace tarnel {

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// A world in which one agent asks a question, one waits for permission and one is at work.
class Commands : public ::testing::Test {
protected:
    void SetUp() override
    {
        permission = world.startAgent("claude-permission");
        question = world.startAgent("claude-question");
        working = world.startAgent("claude-working");
        ASSERT_TRUE(awaitItem(watch, permission, AttentionKind::permission));
        ASSERT_TRUE(awaitItem(watch, question, AttentionKind::question));
        ASSERT_TRUE(watch.await([&](const MachineSnapshot& now) {
            return std::any_of(now.agents.begin(), now.agents.end(), [&](const MuxleAgent& agent) {
                return agent.paneID == working && agent.status == AgentStatus::working;
            });
        }));
    }

    DemoWorld::Run tarnel(const std::string& words) { return world.run(TARNEL_PROGRAM " " + words); }

    DemoWorld world;
    SnapshotWatch watch{world.daemon.socketPath()};
    std::string permission;
    std::string question;
    std::string working;
};

TEST_F(Commands, readWhatTheDaemonKnows)
{
    struct Case {
        std::string words;
        std::vector<std::string> says;
    };
    const Case cases[] = {
        {"queue", {"● Permission", "● Question"}},
        {"next", {"● Question", "  2. date-fns", "tarnel answer 'demo/" + question}},
        {"next --after " + question, {"● Permission", "Bash: npm test", "  1. Yes"}},
        {"show " + question, {"You asked", "  1. ", "  2. date-fns"}},
        {"log " + question + " -n 3", {"You  ", "Our date handling"}},
        {"screen " + question, {"date-fns"}},
        {"search date handling", {"PANE", question}},
        {"search no such words anywhere", {"No agent's record holds"}},
        {"call ping", {R"("machine":"demo")"}},
        {"config get attention.order", {"recent\n"}},
        {"config list attention", {"attention.order = recent"}},
        {"config path", {"config.toml"}},
        {"doctor", {"✓ Daemon", "✓ Multiplexer", "✓ Configuration"}},
        {"completion bash", {"complete -o default -F _tarnel tarnel"}},
        {"__complete answer " + question + " ''", {"date-fns"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.words);
        const DemoWorld::Run run = tarnel(c.words);
        EXPECT_EQ(run.status, 0);
        for (const std::string& part : c.says)
            EXPECT_THAT(run.output, HasSubstr(part));
        EXPECT_THAT(run.output, Not(HasSubstr("\x1b")));
        const bool isText = c.words.starts_with("completion") || c.words.starts_with("__complete");
        const std::string json = isText ? "{}" : tarnel("--json " + c.words).output;
        EXPECT_NO_THROW(JSON::parse(json)) << json;
    }
}

TEST_F(Commands, answerWhatWasShownAndNothingElse)
{
    const JSON shown = JSON::parse(tarnel("show " + question + " --json").output);
    const std::string id = "'" + decode<AttentionItem>(shown).id() + "'";
    DemoWorld::Run run = tarnel("answer " + id + " 2");
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_THAT(run.output, HasSubstr("Answered, as option 2 of its menu: the agent goes on."));
    EXPECT_TRUE(eventually(
        [&] { return world.screen(question).find("All dates now go through date-fns.") != std::string::npos; },
        patience));
    run = tarnel("answer " + id + " 1");
    EXPECT_EQ(run.status, 5) << run.output;
    EXPECT_THAT(run.output, HasSubstr("Nothing was sent"));

    run = tarnel("answer " + permission + " --text 'use yarn' --json");
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_THAT(run.output, HasSubstr(R"({"applied":{"method":)"));
    EXPECT_TRUE(
        eventually([&] { return world.screen(permission).find("Done: use yarn") != std::string::npos; }, patience));
}

TEST_F(Commands, promptIsHeldDeliveredAndLeft)
{
    const std::string folderOf = world.folder / "prompt.out";
    const Process held(world.command(
        "/bin/sh", {"-c", "exec " TARNEL_PROGRAM " prompt " + working + " when you are done >" + folderOf + " 2>&1"}));
    const auto told = [&](std::string_view words) {
        return eventually(
            [&] { return world.run("cat " + folderOf).output.find(words) != std::string::npos; }, patience);
    };
    EXPECT_TRUE(told("Held: the agent is at work"));
    world.endDaemon();
    EXPECT_TRUE(told("trying again, with the same prompt"));
    world.startDaemon();
    DemoWorld::Run left = tarnel("prompt " + working + " later --timeout 500ms");
    EXPECT_EQ(left.status, 4) << left.output;
    EXPECT_THAT(left.output, HasSubstr("keeps the prompt until its turn ends"));
    world.type(working, {"Escape"}); // ends its turn
    EXPECT_TRUE(told("Done: the agent has the prompt.")) << world.run("cat " + folderOf).output;
    EXPECT_TRUE(eventually([&] { return heard(world, working).size() == 2; }, patience));
    EXPECT_THAT(heard(world, working), ::testing::UnorderedElementsAre("when you are done", "later"));
    const std::string all = world.run("cat " + folderOf).output;
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 3) << "nothing is told twice";
}

} // namespace

} // namespace tarnel
