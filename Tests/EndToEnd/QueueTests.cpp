#include "EndToEnd/DemoWorld.h"
#include <gmock/gmock.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;

/// What the queue must say of one scene.
struct Expected {
    std::string scene;
    AttentionKind kind;
    std::string title;
    std::vector<std::string> choices;
    std::string asked;
};

const std::vector<Expected> scenes{
    {"claude-permission", AttentionKind::permission, "Fix the retry loop in billing",
        {"Yes", "Yes, and don't ask again for npm test commands", "No, and tell Claude what to do differently (esc)"},
        "Bash: npm test -- src/billing/retry.test.ts"},
    {"claude-plan", AttentionKind::plan, "Cache the search index",
        {"Yes, and auto-accept edits", "Yes, and manually approve edits", "No, keep planning"},
        "Cache the search index"},
    {"claude-question", AttentionKind::question, "Pick a date library", {"Temporal", "date-fns"},
        "Which library should the dates go through?"},
    {"codex-question", AttentionKind::question, "Move the sessions",
        {"PostgreSQL (Recommended)", "Redis", "None of these"}, "Which database should hold the sessions?"},
    {"codex-error", AttentionKind::error, "Shrink the images", {}, ""},
    {"claude-finished", AttentionKind::finished, "Write the release notes",
        {"open a pull request for the release notes"}, ""},
};

int rank(const AttentionItem& item) { return item.card.status == AgentStatus::blocked ? 0 : group(item.kind); }

std::string identity(const AttentionItem& item)
{
    return item.card.pending ? identityText(*item.card.pending) : item.card.lastMessage.value_or("");
}

TEST(Queue, holdsEveryAgentThatWaitsInOrder)
{
    DemoWorld world;
    SnapshotWatch watch(world.daemon.socketPath());
    std::map<std::string, std::string> panes;
    for (const Expected& each : scenes)
        panes[each.scene] = world.startAgent(each.scene);
    const std::string busy = world.startAgent("claude-working");

    const auto snapshot = watch.await([&](const MachineSnapshot& now) {
        return std::all_of(scenes.begin(), scenes.end(), [&](const Expected& each) {
            const AttentionItem* item = itemOf(now, panes[each.scene]);
            return item && item->kind == each.kind && item->choices == each.choices;
        });
    });
    if (!snapshot) {
        for (const AttentionItem& item : world.daemon.snapshot().queue)
            ADD_FAILURE() << item.id() << " " << ::testing::PrintToString(item.choices);
        FAIL() << "not every agent was recognised";
    }
    EXPECT_EQ(snapshot->queue.size(), scenes.size());
    for (const Expected& each : scenes) {
        SCOPED_TRACE(each.scene);
        const AttentionItem& item = *itemOf(*snapshot, panes[each.scene]);
        EXPECT_EQ(item.card.title, each.title);
        EXPECT_EQ(item.card.machine, "demo");
        EXPECT_EQ(item.card.space, "demo");
        EXPECT_EQ(item.questionText().value_or(""), each.asked);
        EXPECT_TRUE(item.card.hasRecord);
        EXPECT_TRUE(item.waitingSince);
        const Fingerprint expected{.machine = "demo",
            .paneID = panes[each.scene],
            .stateChangeSeq = item.stateChangeSeq,
            .kind = each.kind,
            .contentHash = item.fingerprint.contentHash};
        EXPECT_EQ(item.fingerprint, expected);
        if (each.kind != AttentionKind::error) { // whose identity is its screen
            EXPECT_EQ(item.fingerprint.contentHash, Fingerprint::hash(identity(item)));
        }
    }
    for (std::size_t i = 1; i < snapshot->queue.size(); ++i) {
        const AttentionItem& before = snapshot->queue[i - 1];
        const AttentionItem& after = snapshot->queue[i];
        EXPECT_LE(rank(before), rank(after));
        if (rank(before) == rank(after)) {
            EXPECT_GE(before.stateChangeSeq, after.stateChangeSeq) << before.id() << " stands before " << after.id();
        }
    }
    const auto worker = std::find_if(snapshot->agents.begin(), snapshot->agents.end(),
        [&](const MuxleAgent& agent) { return agent.paneID == busy; });
    ASSERT_NE(worker, snapshot->agents.end());
    EXPECT_EQ(worker->status, AgentStatus::working);
    ASSERT_TRUE(snapshot->statusLines);
    EXPECT_EQ(snapshot->statusLines->at(panes["claude-finished"]).mode, "accept edits");
}

TEST(Queue, changeInAPaneReachesASubscriberWithinASecond)
{
    DemoWorld world;
    SnapshotWatch watch(world.daemon.socketPath());
    const std::string pane = world.startAgent("claude-permission");
    ASSERT_TRUE(awaitItem(watch, pane, AttentionKind::permission));
    world.type(pane, {"1"});
    const auto typed = std::chrono::steady_clock::now();
    ASSERT_TRUE(watch.await([&](const MachineSnapshot& now) { return !itemOf(now, pane); }));
    EXPECT_LT(std::chrono::steady_clock::now() - typed, 1s * TARNEL_SLOWDOWN);

    world.end(pane);
    const auto ended = std::chrono::steady_clock::now();
    ASSERT_TRUE(watch.await([&](const MachineSnapshot& now) {
        return std::none_of(
            now.agents.begin(), now.agents.end(), [&](const MuxleAgent& agent) { return agent.paneID == pane; });
    }));
    EXPECT_LT(std::chrono::steady_clock::now() - ended, 1s * TARNEL_SLOWDOWN);
}

} // namespace

} // namespace tarnel
