#include "Support/TemporaryFolder.h"
#include "TarnelCore/Records/RecordLocator.h"
#include <gtest/gtest.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using Kind = RecordPlace::Kind;

/// A clock that stands still until it is moved.
class StillClock final : public Clock {
public:
    [[nodiscard]] Timestamp now() const override { return Timestamp{}; }
    [[nodiscard]] Instant elapsed() const override { return Instant{time}; }
    void sleep(std::chrono::nanoseconds duration) override { time += duration; }

private:
    std::chrono::nanoseconds time{}; // only one thread uses it
};

class RecordLocatorTest : public testing::Test {
protected:
    [[nodiscard]] std::optional<RecordPlace> place(Kind kind, const char* relative) const
    {
        return RecordPlace{kind, home / relative};
    }

    const TemporaryFolder home;
    StillClock clock;
    RecordLocator locator{home.path(), clock};
};

const std::string uuid = "0197a1b2-0000-7000-8000-123456789abc";

TEST_F(RecordLocatorTest, findsClaudesRecords)
{
    home.write(".claude/projects/-Users-me-my-app-v2/here.jsonl");
    home.write(".claude/projects/-elsewhere/moved.jsonl");
    const std::string cwd = "/Users/me/my_app.v2";
    EXPECT_EQ(locator.locate(AgentKind::claude, "here", cwd),
        place(Kind::claude, ".claude/projects/-Users-me-my-app-v2/here.jsonl"));
    EXPECT_EQ(locator.locate(AgentKind::claude, "moved", cwd),
        place(Kind::claude, ".claude/projects/-elsewhere/moved.jsonl"));
    EXPECT_EQ(locator.locate(AgentKind::claude, "gone", cwd), std::nullopt);
    EXPECT_EQ(locator.locate(AgentKind::claude, std::nullopt, cwd), std::nullopt);
    EXPECT_EQ(locator.locate(AgentKind::claude, "", cwd), std::nullopt);
    EXPECT_EQ(locator.locate(AgentKind::gemini, "here", cwd), std::nullopt);
    EXPECT_EQ(RecordLocator::claudeSlug("/a b/é~-_."), "-a b-é~---");
}

TEST_F(RecordLocatorTest, findsGroksRecords)
{
    home.write(".grok/sessions/%2Fmy%20work%2F\u00E9-._~%25/here/chat_history.jsonl");
    home.write(".grok/sessions/other/moved/chat_history.jsonl");
    home.write(".grok/sessions/other/bare/summary.json");
    const std::string cwd = "/my work/\u00E9-._~%";
    EXPECT_EQ(locator.locate(AgentKind::grok, "here", cwd),
        place(Kind::grok, ".grok/sessions/%2Fmy%20work%2F\u00E9-._~%25/here"));
    EXPECT_EQ(locator.locate(AgentKind::grok, "moved", cwd), place(Kind::grok, ".grok/sessions/other/moved"));
    EXPECT_EQ(locator.locate(AgentKind::grok, "bare", cwd), std::nullopt);
}

TEST_F(RecordLocatorTest, prefersTheProjectOfTheWorkingDirectory)
{
    for (const char* project : {"a", "b", "c", "%2Fb%E2%86%92", "-b-"}) {
        home.write(std::string(".claude/projects/") + project + "/s.jsonl");
        home.write(std::string(".grok/sessions/") + project + "/s/chat_history.jsonl");
    }
    EXPECT_EQ(locator.claudePath("s", "/b/"), home / ".claude/projects/-b-/s.jsonl");
    EXPECT_EQ(locator.grokDirectory("s", "/b→"), home / ".grok/sessions/%2Fb%E2%86%92/s");
}

TEST_F(RecordLocatorTest, neverLeavesTheSearchedFolder)
{
    home.write(".claude/projects/p/x.jsonl");
    home.write(".claude/projects/p/.jsonl");
    home.write(".claude/projects/p/...jsonl");
    home.write(".claude/out.jsonl");
    home.write(".grok/sessions/p/chat_history.jsonl");
    home.write(".grok/sessions/p/s/chat_history.jsonl");
    home.write(".grok/s/chat_history.jsonl");
    home.write(".grok/sessions/chat_history.jsonl");
    using namespace std::string_literals;
    for (const std::string& id : {"../../out"s, "../p/x"s, "p/x"s, "/x"s, "."s, ".."s, "x/"s, "x.jsonl\0"s}) {
        SCOPED_TRACE(id);
        for (const char* cwd : {"p", "..", ".", ""}) {
            EXPECT_EQ(locator.locate(AgentKind::claude, id, cwd), std::nullopt);
            EXPECT_EQ(locator.locate(AgentKind::codex, id, cwd), std::nullopt);
            EXPECT_EQ(locator.locate(AgentKind::grok, id, cwd), std::nullopt);
        }
    }
    EXPECT_EQ(locator.grokDirectory("s", ".."), home / ".grok/sessions/p/s");
    EXPECT_EQ(locator.claudePath("out", "p\0"s), std::nullopt);
}

TEST_F(RecordLocatorTest, looksForCodexRecordsAtMostEveryFiveSeconds)
{
    const auto find = [&](const std::string& id) { return locator.locate(AgentKind::codex, id, "/any"); };
    EXPECT_EQ(find(uuid), std::nullopt); // no folder at all, which counts as a look
    const std::string first = ".codex/sessions/2026/01/31/rollout-2026-01-31T09-15-02-" + uuid + ".jsonl";
    home.write(first);
    home.write(".codex/sessions/" + uuid.substr(1) + ".jsonl");
    home.write(".codex/sessions/rollout-" + uuid.substr(1) + "x.json");
    clock.sleep(5s);
    EXPECT_EQ(find(uuid), std::nullopt);
    clock.sleep(1ns);
    EXPECT_EQ(find(uuid), place(Kind::codex, first.c_str()));
    EXPECT_EQ(find(uuid.substr(1)), std::nullopt); // too short a name to hold an id

    const std::string other = "x" + uuid.substr(1);
    home.write(".codex/sessions/deep/" + other + ".jsonl");
    clock.sleep(4s);
    EXPECT_EQ(find(other), std::nullopt);
    EXPECT_EQ(find(uuid), place(Kind::codex, first.c_str())); // known ones need no look
    clock.sleep(2s);
    EXPECT_EQ(find(other), place(Kind::codex, (".codex/sessions/deep/" + other + ".jsonl").c_str()));

    std::filesystem::remove(home / first);
    EXPECT_EQ(find(uuid), std::nullopt);
    clock.sleep(6s);
    EXPECT_EQ(find("none"), std::nullopt); // a look that no longer sees the first one, which is forgotten
    home.write(first);
    EXPECT_EQ(find(uuid), std::nullopt);
    std::filesystem::remove(home / first);
    const std::string moved = ".codex/sessions/archive/" + uuid + ".jsonl";
    home.write(moved);
    clock.sleep(6s);
    EXPECT_EQ(find(uuid), place(Kind::codex, moved.c_str()));
}

} // namespace

} // namespace tarnel
