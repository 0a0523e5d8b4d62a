#include "TarnelCore/Attention/AttentionEngine.h"
#include "TarnelCore/Base/Files.h"
#include "Support/MemoryMuxle.h"
#include "Support/TemporaryFolder.h"
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class FixedClock final : public Clock {
public:
    Timestamp now() const override { return time; }
    Instant elapsed() const override { return Instant{} + steps++ * step; }
    void sleep(std::chrono::nanoseconds) override { }

    Timestamp time = *parseISO8601("2026-03-02T10:00:00Z");
    std::chrono::nanoseconds step{0};

private:
    mutable int steps = 0;
};

class AttentionEngineTest : public testing::Test {
protected:
    AttentionEngine& engine()
    {
        if (!made)
            made = std::make_unique<AttentionEngine>(
                MuxleClient(world), "studio", options, AttentionEngine::World{clock, home.path()});
        return *made;
    }
    /// The record of the agent in `pane`.
    void writeRecord(const std::string& paneID, const std::string& lines)
    {
        const std::string folder = home.path() + "/.claude/projects/-p";
        Files::createDirectories(folder);
        Files::writeAtomically(folder + "/s-" + paneID + ".jsonl", lines);
    }
    AttentionItem only()
    {
        const MachineSnapshot snapshot = engine().snapshot();
        EXPECT_EQ(snapshot.queue.size(), 1u);
        return snapshot.queue.empty() ? AttentionItem() : snapshot.queue.front();
    }

    TemporaryFolder home;
    FixedClock clock;
    std::shared_ptr<MemoryMuxle> world = std::make_shared<MemoryMuxle>();
    QueueOptions options;

private:
    std::unique_ptr<AttentionEngine> made;
};

constexpr const char* openCall = R"({"type":"user","timestamp":"2026-03-02T09:50:00Z","message":{"content":"Run the tests"}}
{"type":"assistant","timestamp":"2026-03-02T09:51:00Z","message":{"model":"claude-opus-4-5","usage":{"input_tokens":45678},"content":[{"type":"tool_use","id":"t1","name":"Bash","input":{"command":"npm test"}}]}}
)";

std::string finishedAt(const std::string& time)
{
    return R"({"type":"assistant","timestamp":")" + time + R"(","message":{"content":[{"type":"text","text":"All done."}]}})" "\n";
}

TEST_F(AttentionEngineTest, aBlockedAgentWaitsForWhatItsRecordSays)
{
    world->setPanes({claudePane("p1", "blocked", 41)});
    world->screens["visible"] = "Do it?\n";
    EXPECT_EQ(only().kind, AttentionKind::blocked);
    EXPECT_FALSE(only().card.hasRecord);

    writeRecord("p1", openCall);
    const AttentionItem item = only();
    EXPECT_EQ(item.kind, AttentionKind::permission);
    EXPECT_THAT(item.choices, ElementsAre("Allow", "Allow for session", "Deny"));
    EXPECT_EQ(item.id(), "studio/p1#41/permission/" + Fingerprint::hash("Bash|npm test"));
    EXPECT_EQ(item.waitingSince, parseISO8601("2026-03-02T09:51:00Z"));
    EXPECT_EQ(item.card.space, "shop");
    EXPECT_EQ(item.card.screenTail, "Do it?");
    EXPECT_FALSE(item.screenAsking);

    world->screens["visible"] = "Do you want to proceed?\n❯ 1. Yes\n  2. No\n";
    EXPECT_THAT(only().choices, ElementsAre("Yes", "No"));
}

TEST_F(AttentionEngineTest, aFinishedTurnWaitsBeforeItEntersTheQueue)
{
    world->setPanes({claudePane("p1", "done", 7)});
    world->screens["detection"] = "text\n";
    EXPECT_EQ(only().kind, AttentionKind::finished) << "without a record at once";

    writeRecord("p1", finishedAt("2026-03-02T09:59:30Z"));
    EXPECT_TRUE(engine().snapshot().queue.empty());
    clock.time += 30s;
    const AttentionItem item = only();
    EXPECT_EQ(item.kind, AttentionKind::finished);
    EXPECT_EQ(item.fingerprint.contentHash, Fingerprint::hash("All done."));
    EXPECT_TRUE(item.choices.empty());

    world->screens["visible ansi"] = "────\n❯ \x1b[2mrun the linter\x1b[0m\n────\n";
    EXPECT_THAT(only().choices, ElementsAre("run the linter"));
    world->screens["detection"] = "Do you want\n   to proceed?\n 1. Yes\n 2. No";
    EXPECT_EQ(only().kind, AttentionKind::asking);
    EXPECT_TRUE(only().screenAsking);
}

TEST_F(AttentionEngineTest, optionsDecideWhatEntersTheQueue)
{
    struct Case {
        const char* what;
        std::function<void(QueueOptions&)> set;
        const char* status;
        const char* more;
        std::size_t items;
    };
    const Case cases[] = {
        {"finished turns", [](QueueOptions&) { }, "done", "", 1},
        {"no finished turns", [](QueueOptions& o) { o.includeFinished = false; }, "done", "", 0},
        {"a muted pane", [](QueueOptions& o) { o.mutedPanes = {"p1"}; }, "blocked", "", 0},
        {"a muted name", [](QueueOptions& o) { o.mutedAgentNames = {"bob"}; }, "blocked", R"(,"name":"bob")", 0},
        {"another name", [](QueueOptions& o) { o.mutedAgentNames = {"bob"}; }, "blocked", R"(,"name":"eve")", 1},
        {"an idle agent that asks", [](QueueOptions&) { }, "idle", "", 1},
        {"idle screens not looked at", [](QueueOptions& o) { o.checkIdleScreens = false; }, "idle", "", 0},
        {"other markers", [](QueueOptions& o) { o.questionMarkers = {"ready?"}; }, "unknown", "", 0},
        {"working", [](QueueOptions&) { }, "working", "", 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        QueueOptions set;
        c.set(set);
        world->setPanes({claudePane("p1", c.status, 1, c.more)});
        world->screens["visible"] = "Do you trust the files in this folder?";
        world->screens["detection"] = "";
        AttentionEngine configured(MuxleClient(world), "studio", set, {clock, home.path()});
        EXPECT_EQ(configured.snapshot().queue.size(), c.items);
    }
}

TEST_F(AttentionEngineTest, eachScreenIsReadAtMostOnce)
{
    world->setPanes({claudePane("p1", "blocked", 1), claudePane("p2", "done", 2), claudePane("p3", "idle", 3), claudePane("p4", "working", 4),
        JSON::parse(R"({"pane_id":"shell","workspace_id":"w1","cwd":"/p"})")});
    world->screens = {{"visible", "x\n  ⏸ plan mode on (shift+tab to cycle)"}, {"detection", "x"}};
    const MachineSnapshot snapshot = engine().snapshot();
    EXPECT_EQ(world->reads("visible"), 4u);
    EXPECT_EQ(world->reads("detection"), 1u);
    EXPECT_EQ(world->reads("visible ansi"), 1u);
    EXPECT_EQ(snapshot.agents.size(), 5u);
    EXPECT_EQ(snapshot.statusLines->size(), 4u);
    EXPECT_EQ(snapshot.statusLines->at("p4").mode, "plan mode");
    EXPECT_TRUE(snapshot.tabs && snapshot.tabs->empty());
}

TEST_F(AttentionEngineTest, fallsBackToSeparateListsAndThenFails)
{
    world->results["session.snapshot"] = JSON::object({{"snapshot", 1}});
    world->results["pane.list"] = JSON::object({{"panes", JSON::Array{claudePane("p1", "blocked", 1), 7}}});
    const MachineSnapshot snapshot = engine().snapshot();
    EXPECT_EQ(snapshot.queue.size(), 1u);
    EXPECT_EQ(snapshot.queue.front().card.space, "w1");
    EXPECT_FALSE(snapshot.tabs);
    EXPECT_FALSE(snapshot.layouts);

    world->results.erase("pane.list");
    EXPECT_THROW((void)engine().snapshot(), MuxleError);
}

TEST_F(AttentionEngineTest, aHangingMultiplexerCostsOneTimeout)
{
    world->hangs = true;
    clock.step = 4s; // every look at the clock takes as long as nearly half a time-out
    EXPECT_THROW((void)engine().snapshot(), SocketError);
    for (const auto& timeout : world->timeouts)
        EXPECT_LE(timeout, MuxleClient::usualTimeout);
    EXPECT_LE(world->timeouts.size(), 2u);
}

TEST_F(AttentionEngineTest, readsARecordAnewOnlyWhenItHasChanged)
{
    world->setPanes({claudePane("p1", "blocked", 1)});
    writeRecord("p1", openCall);
    const MuxleAgent agent = *MuxleAgent::fromMuxle(claudePane("p1", "blocked", 1));
    const auto first = engine().transcript(agent);
    EXPECT_EQ(engine().transcript(agent), first) << "the same object";
    EXPECT_EQ(engine().statusLine(agent)->contextUsed, 45678);
    writeRecord("p1", openCall + finishedAt("2026-03-02T09:59:30Z"));
    EXPECT_EQ(engine().transcript(agent)->entries.size(), 3u);
    EXPECT_EQ(first->entries.size(), 2u);
}

AttentionItem itemOf(AttentionKind kind, AgentStatus status, std::int64_t seq, std::int64_t revision, const std::string& id)
{
    AttentionItem item;
    item.kind = kind;
    item.stateChangeSeq = seq;
    item.revision = revision;
    item.card.status = status;
    item.card.paneID = id;
    return item;
}

TEST(AttentionQueue, isOrderedByUrgencyThenByChange)
{
    using enum AttentionKind;
    const std::vector<AttentionItem> items{itemOf(finished, AgentStatus::done, 99, 0, "f"),
        itemOf(error, AgentStatus::done, 50, 0, "e"), itemOf(asking, AgentStatus::idle, 5, 0, "a"),
        itemOf(question, AgentStatus::done, 5, 0, "q5"), itemOf(plan, AgentStatus::blocked, 9, 1, "p1"),
        itemOf(plan, AgentStatus::blocked, 9, 2, "p2"), itemOf(plan, AgentStatus::blocked, 9, 2, "p3"),
        itemOf(finished, AgentStatus::blocked, 1, 0, "b")};
    const auto ordered = [&](bool oldestFirst) {
        auto sorted = items;
        AttentionEngine::order(sorted, oldestFirst);
        std::vector<std::string> panes;
        for (const AttentionItem& item : sorted)
            panes.push_back(item.card.paneID);
        return panes;
    };
    EXPECT_THAT(ordered(false), ElementsAre("p3", "p2", "p1", "q5", "b", "a", "e", "f"));
    EXPECT_THAT(ordered(true), ElementsAre("b", "q5", "p3", "p2", "p1", "a", "e", "f"));
}

TEST(AttentionQueue, nextWrapsAndPassesOverFinishedTurns)
{
    using enum AttentionKind;
    const std::vector<AttentionItem> items{itemOf(question, AgentStatus::blocked, 0, 0, "a"),
        itemOf(finished, AgentStatus::done, 0, 0, "f"), itemOf(error, AgentStatus::done, 0, 0, "b")};
    struct Case {
        std::optional<std::string> after;
        bool includeFinished;
        const AttentionItem* next;
    };
    const Case cases[] = {{{}, false, &items[0]}, {"a", false, &items[2]}, {"a", true, &items[1]}, {"b", true, &items[0]},
        {"f", false, &items[0]}, {"x", true, &items[0]}};
    for (const Case& c : cases)
        EXPECT_EQ(AttentionEngine::next(items, c.after, c.includeFinished), c.next) << c.after.value_or("");
    EXPECT_EQ(AttentionEngine::next({}, "a", true), nullptr);
}

TEST(AttentionEngine, tailDropsBlankLinesAtTheEnd)
{
    struct Case {
        const char* text;
        std::size_t lines;
        const char* tail;
    };
    const Case cases[] = {{"a\nb\n\n  ", 1, "b"}, {"a\nb\n\n  ", 5, "a\nb"}, {"\n\n\t", 3, ""}, {"", 1, ""},
        {"a\n\nb", 2, "\nb"}, {"\na", 9, "\na"}, {"one", 1, "one"}};
    for (const Case& c : cases)
        EXPECT_EQ(AttentionEngine::tail(c.text, c.lines), c.tail) << c.text;
}

} // namespace

} // namespace tarnel
