#include "Support/TemporaryFolder.h"
#include "TarnelCore/Base/Files.h"
#include "muxle-tmux/SessionFinder.h"
#include <gtest/gtest.h>

namespace tarnel::tmux {

namespace {

using namespace std::chrono_literals;
using Sessions = std::map<std::int64_t, std::string>;

Timestamp at(std::chrono::seconds seconds) { return Timestamp(seconds); }

SessionSeeker seeker(std::int64_t process, std::chrono::seconds started, std::optional<std::chrono::seconds> moved)
{
    return {.process = process,
        .kind = AgentKind::claude,
        .cwd = "/x",
        .started = at(started),
        .moved = moved ? std::optional(at(*moved)) : std::nullopt};
}

SessionRecord record(const std::string& session, std::chrono::seconds born, std::chrono::seconds modified)
{
    return {.session = session, .path = "/x/" + session, .born = at(born), .modified = at(modified)};
}

TEST(MuxleTmuxSessionFinder, givesRecordsToTheirWriters)
{
    struct Case {
        const char* what;
        std::vector<SessionSeeker> seekers;
        std::vector<SessionRecord> records; // in one folder: each agent sees those written since it started
        Sessions sessions;
    };
    const Case cases[] = {
        {"the only agent", {seeker(1, 10s, {})}, {record("a", 11s, 20s)}, {{1, "a"}}},
        {"a session that it has gone on with", {seeker(1, 10s, {})}, {record("a", 5s, 20s)}, {{1, "a"}}},
        {"its latest", {seeker(1, 10s, {})}, {record("a", 11s, 20s), record("b", 30s, 40s)}, {{1, "b"}}},
        {"made before the other was there", {seeker(1, 10s, {}), seeker(2, 20s, {})}, {record("a", 11s, 30s)},
            {{1, "a"}}},
        {"written while only one moved", {seeker(1, 10s, 50s), seeker(2, 20s, 31s)}, {record("a", 30s, 31s)},
            {{2, "a"}}},
        {"written while both moved", {seeker(1, 10s, 31s), seeker(2, 20s, 31s)}, {record("a", 30s, 31s)}, {}},
        {"nobody wrote since", {seeker(1, 10s, {})}, {record("a", 1s, 5s)}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<std::vector<SessionRecord>> seen;
        for (const SessionSeeker& each : c.seekers) {
            seen.push_back(c.records);
            std::erase_if(seen.back(), [&](const SessionRecord& record) { return record.modified < each.started; });
        }
        EXPECT_EQ(SessionFinder("/home").assign(c.seekers, seen), c.sessions);
    }
}

TEST(MuxleTmuxSessionFinder, staysWithWhatItFound)
{
    SessionFinder finder("/home");
    EXPECT_EQ(finder.assign({seeker(1, 10s, {})}, {{record("a", 11s, 20s)}}), (Sessions{{1, "a"}}));
    // Alone or not, moved or not: it stays the first one's, and the second one finds its own.
    const std::vector<SessionRecord> both{record("a", 11s, 40s), record("b", 31s, 41s)};
    EXPECT_EQ(finder.assign({seeker(1, 10s, 90s), seeker(2, 30s, 40s)}, {both, both}), (Sessions{{1, "a"}, {2, "b"}}));
    EXPECT_EQ(finder.assign({seeker(2, 30s, {})}, {both}), (Sessions{{2, "b"}})) << "when the first has gone";
}

TEST(MuxleTmuxSessionFinder, readsTheAgentsFolders)
{
    const TemporaryFolder home;
    const std::string id = "0a1b2c3d-1111-4222-8333-444455556666";
    const auto now = std::chrono::time_point_cast<Timestamp::duration>(std::chrono::system_clock::now());
    const std::time_t seconds = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm local{};
    ::localtime_r(&seconds, &local);
    char day[16];
    std::strftime(day, sizeof day, "%Y/%m/%d", &local);
    const auto write = [&](const std::string& path, const std::string& text) {
        Files::createDirectories(home.path() + Files::parent(path));
        Files::writeAtomically(home.path() + path, text);
    };
    write("/.claude/projects/-src-my-app-v2/" + id + ".jsonl", "{}\n");
    write("/.claude/projects/-src-my-app-v2/agent-7.jsonl", "{}\n");
    write("/.grok/sessions/%2Fsrc%2Fmy_app.v2/" + id + "/chat_history.jsonl", "{}\n");
    const std::string codex = std::string("/.codex/sessions/") + day + "/rollout-" + id + ".jsonl";
    write(codex,
        R"({"type":"session_meta","payload":{"cwd":"/src/my_app.v2"}})"
        "\n");
    write(std::string("/.codex/sessions/") + day + "/rollout-1" + id.substr(1) + ".jsonl",
        R"({"type":"session_meta","payload":{"cwd":"/src/other"}})"
        "\n");
    for (const AgentKind kind : {AgentKind::claude, AgentKind::codex, AgentKind::grok}) {
        SCOPED_TRACE(nameOf(kind));
        const auto records = sessionRecords(home.path(), kind, "/src/my_app.v2", now - 1h);
        ASSERT_EQ(records.size(), 1u);
        EXPECT_EQ(records[0].session, id);
        EXPECT_TRUE(sessionRecords(home.path(), kind, "/src/my_app.v2", now + 1h).empty()) << "nothing written since";
        EXPECT_TRUE(sessionRecords(home.path(), kind, "/elsewhere", now - 1h).empty());
    }
    EXPECT_TRUE(sessionRecords(home.path(), AgentKind::pi, "/src/my_app.v2", now - 1h).empty());

    SessionSeeker open{.process = 5, .kind = AgentKind::codex, .cwd = "/elsewhere", .started = now + 1h};
    open.openFiles = {"/dev/null", home.path() + codex};
    EXPECT_EQ(SessionFinder(home.path()).find({open}, {}), (Sessions{{5, id}})) << "it has the record open";
    SessionSeeker writer{.process = 6, .kind = AgentKind::claude, .cwd = "/src/my_app.v2", .started = now - 1h};
    EXPECT_EQ(SessionFinder(home.path()).find({writer}, {id}), Sessions()) << "known to be another's";
}

} // namespace

} // namespace tarnel::tmux
