#include "EndToEnd/DemoWorld.h"
#include "Support/Eventually.h"
#include <gtest/gtest.h>

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

} // namespace

} // namespace tarnel
