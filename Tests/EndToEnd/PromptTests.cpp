#include "EndToEnd/Commander.h"
#include "TarnelCore/Base/Files.h"
#include <gmock/gmock.h>

namespace tarnel {

namespace {

using testing::ElementsAre;
using testing::MatchesRegex;
using Status = CommandReply::Status;

std::string draft(DemoWorld& world, const std::string& pane)
{
    const JSON prompt = world.daemon.call("agent_prompt", {{"pane", pane}, {"kind", "claude"}}, patience);
    return prompt.string() ? *prompt.string() : "none";
}

bool awaitStatus(SnapshotWatch& watch, const std::string& pane, const std::function<bool(AgentStatus)>& holds)
{
    return !!watch.await([&](const MachineSnapshot& snapshot) {
        return std::any_of(snapshot.agents.begin(), snapshot.agents.end(),
            [&](const MuxleAgent& agent) { return agent.paneID == pane && holds(agent.status); });
    });
}

bool isWorking(AgentStatus status) { return status == AgentStatus::working; }
bool isOver(AgentStatus status) { return status == AgentStatus::done || status == AgentStatus::idle; }

TEST(Prompt, waitsForTheTurnsEndInOrder)
{
    DemoWorld world;
    SnapshotWatch watch(world.daemon.socketPath());
    const std::string pane = world.startAgent("claude-working");
    ASSERT_TRUE(awaitStatus(watch, pane, isWorking));
    world.type(pane, {"-l", "a draft"});
    ASSERT_TRUE(eventually([&] { return draft(world, pane) == "a draft"; }, patience));

    Commander client(world.daemon.socketPath());
    client.send("first", PromptAction{.pane = pane, .text = "first\nof all", .typed = "a draft", .images = {}});
    EXPECT_EQ(brief(client.next()), "first held");
    EXPECT_TRUE(eventually([&] { return draft(world, pane).empty(); }, patience)) << "the draft is in the prompt now";
    for (const char* id : {"second", "third", "urgent"}) {
        client.send(id, PromptAction{.pane = pane, .text = id, .images = {}});
        EXPECT_EQ(brief(client.next()), std::string(id) + " held");
    }
    client.send("now", PromptAction{.pane = pane, .text = "now", .mode = SendMode::steerNow, .images = {}});
    EXPECT_EQ(brief(client.next()), "now queued");
    client.send("x", SendNowAction{"urgent"});
    EXPECT_EQ(brief(client.next()), "x done");
    EXPECT_EQ(brief(client.next()), "urgent queued");
    EXPECT_TRUE(eventually([&] { return heard(world, pane).size() == 2; }, patience));
    EXPECT_THAT(heard(world, pane), ElementsAre("now", "urgent"));

    world.type(pane, {"Escape"});
    for (const char* id : {"first", "second", "third"}) {
        const CommandReply reply = client.next();
        EXPECT_EQ(reply.id, id);
        EXPECT_TRUE(reply.status == Status::done) << brief(reply);
    }
    const auto hasHeardAll = [&] { return heard(world, pane).size() >= 5; };
    EXPECT_TRUE(eventually(hasHeardAll, patience));
    const auto texts = heard(world, pane);
    EXPECT_THAT(std::vector(texts.end() - 3, texts.end()), ElementsAre("first\nof all", "second", "third"));
}

TEST(Prompt, takesUpADraftAndCarriesImages)
{
    DemoWorld world;
    SnapshotWatch watch(world.daemon.socketPath());
    const std::string pane = world.startAgent("claude-finished");
    ASSERT_TRUE(awaitItem(watch, pane, AttentionKind::finished));
    world.type(pane, {"-l", "half a tree"});
    ASSERT_TRUE(eventually([&] { return draft(world, pane) == "half a tree"; }, patience));
    ASSERT_TRUE(awaitStatus(watch, pane, isOver));

    Commander client(world.daemon.socketPath());
    client.send("a",
        PromptAction{.pane = pane,
            .text = "half a draft\nin two lines",
            .typed = "half a tree",
            .mode = SendMode::steerNow,
            .images = {{.data = {"a picture"}, .type = "png", .name = "x.png"}}});
    EXPECT_EQ(client.next().id, "a");
    ASSERT_TRUE(eventually([&] { return heard(world, pane).size() == 1; }, patience)) << world.screen(pane);
    const std::string text = heard(world, pane).front();
    EXPECT_THAT(text, MatchesRegex("half a draft\nin two lines\n/[^\n]*-x\\.png"));
    EXPECT_EQ(Files::read(text.substr(text.rfind('\n') + 1)), "a picture");

    client.send("b", PromptAction{.pane = "p999", .text = "x", .images = {}});
    EXPECT_EQ(brief(client.next()), "b failed no agent in pane p999");
}

} // namespace

} // namespace tarnel
