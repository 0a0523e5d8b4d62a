#include "EndToEnd/DemoWorld.h"
#include "Support/Eventually.h"
#include <gmock/gmock.h>
#include <thread>

namespace tarnel {

namespace {

TEST(Answer, reachesEveryKindOfDialog)
{
    struct Case {
        std::string scene;
        AttentionKind kind;
        std::optional<std::string> choice;
        std::optional<std::string> text;
        std::string method;
        std::string shown; // by the agent once it has taken the answer
    };
    const Case cases[] = {
        {"claude-permission", AttentionKind::permission, "Allow", {}, "menu 1", "All 14 tests of the retry loop pass."},
        {"claude-permission", AttentionKind::permission, {}, "use yarn", "text", "Done: use yarn"},
        {"claude-plan", AttentionKind::plan, "Implement the plan", {}, "menu 1", "The cache is in place"},
        {"claude-question", AttentionKind::question, "date-fns", {}, "menu 2", "All dates now go through date-fns."},
        {"claude-question", AttentionKind::question, {}, "Luxon", "text", "All dates now go through Luxon."},
        {"claude-folded", AttentionKind::asking, "date-fns", {}, "menu 2", "All dates now go through date-fns."},
        {"claude-folded", AttentionKind::asking, {}, "Luxon", "text", "All dates now go through Luxon."},
        {"claude-finished", AttentionKind::finished, {}, "tag it", "prompt", "Done: tag it"},
        {"codex-question", AttentionKind::question, "Redis", {}, "menu 2", "The sessions now live in Redis"},
        {"codex-error", AttentionKind::error, {}, "try again", "text", "Done: try again"},
    };
    DemoWorld world;
    SnapshotWatch watch(world.daemon.socketPath());
    std::vector<std::string> panes;
    for (const Case& c : cases)
        panes.push_back(world.startAgent(c.scene));
    for (std::size_t i = 0; i < panes.size(); ++i) {
        const Case& c = cases[i];
        SCOPED_TRACE(c.scene + " " + c.choice.value_or(*c.text));
        const auto item = awaitItem(watch, panes[i], c.kind);
        ASSERT_TRUE(item);
        const AnswerOutcome outcome =
            world.daemon.answer({.fingerprint = item->fingerprint, .choice = c.choice, .text = c.text});
        EXPECT_EQ(outcome, AnswerOutcome(AnswerApplied{c.method})) << encoded(outcome);
        EXPECT_TRUE(std::holds_alternative<AnswerStale>(
            world.daemon.answer({.fingerprint = item->fingerprint, .choice = "Yes"})))
            << "an item that is over takes no answer";
    }
    for (std::size_t i = 0; i < panes.size(); ++i) {
        const auto shows = [&] { return world.screen(panes[i]).find(cases[i].shown) != std::string::npos; };
        EXPECT_TRUE(eventually(shows, patience)) << world.screen(panes[i]);
    }
}

TEST(Answer, isTypedOnceHoweverOftenItIsSent)
{
    DemoWorld world;
    SnapshotWatch watch(world.daemon.socketPath());
    const std::string repeated = world.startAgent("claude-finished");
    const std::string contested = world.startAgent("claude-finished");
    const std::string question = world.startAgent("codex-question");

    auto item = awaitItem(watch, repeated, AttentionKind::finished);
    ASSERT_TRUE(item);
    AnswerRequest request{.fingerprint = item->fingerprint, .text = "tag it", .idempotencyKey = "k"};
    AnswerRequest stale = request;
    stale.fingerprint.contentHash = "0";
    EXPECT_EQ(world.daemon.answer(stale), AnswerOutcome(AnswerStale{item->fingerprint}));
    EXPECT_EQ(world.daemon.answer(request), AnswerOutcome(AnswerApplied{"prompt"}));
    EXPECT_EQ(world.daemon.answer(request), duplicate(AnswerApplied{"prompt"}));

    const std::string panes[] = {contested, question};
    for (const std::string& pane : panes) {
        item = awaitItem(watch, pane, pane == contested ? AttentionKind::finished : AttentionKind::question);
        ASSERT_TRUE(item);
        std::vector<AnswerOutcome> outcomes(2);
        std::vector<std::thread> clients;
        for (std::size_t i = 0; i < 2; ++i) {
            clients.emplace_back([&, i] {
                const bool isPrompt = pane == contested;
                outcomes[i] = DaemonClient(world.daemon.socketPath())
                                  .answer({.fingerprint = item->fingerprint,
                                      .choice = isPrompt ? std::nullopt : std::optional<std::string>("Redis"),
                                      .text = isPrompt ? std::optional("from " + std::to_string(i)) : std::nullopt});
            });
        }
        for (std::thread& client : clients)
            client.join();
        EXPECT_THAT(outcomes,
            testing::UnorderedElementsAre(AnswerOutcome(AnswerApplied{pane == contested ? "prompt" : "menu 2"}),
                testing::ResultOf(
                    [](const AnswerOutcome& each) { return std::holds_alternative<AnswerStale>(each); }, true)));
    }
    EXPECT_TRUE(eventually([&] { return heard(world, repeated).size() == 1; }, patience));
    EXPECT_THAT(heard(world, repeated), testing::ElementsAre("tag it"));
    EXPECT_THAT(heard(world, contested), testing::ElementsAre(testing::StartsWith("from ")));
    const auto isAnswered = [&] { return world.screen(question).find("now live in Redis") != std::string::npos; };
    EXPECT_TRUE(eventually(isAnswered, patience)) << world.screen(question);
}

} // namespace

} // namespace tarnel
