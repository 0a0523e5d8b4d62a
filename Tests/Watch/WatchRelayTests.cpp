#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Watch/WatchRelay.h"
#include <gtest/gtest.h>
#include <stdexcept>

namespace tarnel {

namespace {

TranscriptEntry said(std::string text) { return {.role = EntryRole::assistant, .text = std::move(text)}; }

WatchPane paneOf(std::size_t entries, std::size_t length)
{
    WatchPane pane{.outgoing = {"a/b"}};
    for (std::size_t i = 0; i < entries; ++i)
        pane.entries.push_back(said(std::string(length, static_cast<char>('a' + i % 26))));
    return pane;
}

TEST(WatchRelay, writesAndReadsMessages)
{
    const WatchRequest fleet;
    EXPECT_EQ(WatchRelay::encoded(fleet), R"({"kind":"fleet"})");
    const auto voice = WatchRequest::voice(std::string("\xff\xff\xfe\x00", 4), "c/1", 4).front();
    EXPECT_EQ(
        WatchRelay::encoded(voice), R"({"audio":"\/\/\/+AA==","clip":"c\/1","kind":"voice","last":true,"part":0})");
    EXPECT_EQ(WatchRelay::decoded<WatchRequest>(WatchRelay::encoded(voice)), voice);
    EXPECT_THROW(WatchRelay::decoded<WatchRequest>(R"({"kind":"dance"})"), DecodingError);
    EXPECT_THROW(WatchRelay::decoded<WatchRequest>(R"({"kind":"voice","audio":"?"})"), DecodingError);

    const WatchAgent agent{.machine = "mac",
        .pane = "p1",
        .title = "T",
        .space = "s",
        .kind = AgentKind::claude,
        .status = AgentStatus::done,
        .waiting = AttentionKind::plan,
        .question = "Go?",
        .choices = {"yes"},
        .context = 40};
    EXPECT_EQ(agent.id(), "mac/p1");
    TranscriptEntry dated = said("hi");
    dated.timestamp = parseISO8601("2026-11-16T21:02:03Z");
    const WatchReply reply{.fleet = WatchFleet{{agent, {}}, "2 agents"},
        .pane = WatchPane{agent, {dated}, {"next"}, "lost", "$ ls", true},
        .outcome = "sent",
        .error = "none",
        .transcript = "words"};
    EXPECT_EQ(WatchRelay::decoded<WatchReply>(WatchRelay::encoded(reply)), reply);
    EXPECT_EQ(WatchRelay::encoded(WatchReply{}), "{}");
    EXPECT_EQ(WatchRelay::encoded(WatchReply{.pane = WatchPane{}}),
        R"({"pane":{"entries":[],"outgoing":[],"working":false}})");
}

TEST(WatchRequest, splitsVoiceClips)
{
    struct Case {
        const char* what;
        std::string audio;
        std::int64_t partBytes;
        std::vector<std::string> parts;
    };
    const Case cases[] = {
        {"a shorter last part", "0123456789", 4, {"0123", "4567", "89"}},
        {"a whole last part", "01234567", 4, {"0123", "4567"}},
        {"one part", "01", INT64_MAX, {"01"}},
        {"an empty clip", "", 4, {""}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const auto requests = WatchRequest::voice(c.audio, "clip", c.partBytes);
        ASSERT_EQ(requests.size(), c.parts.size());
        for (std::size_t i = 0; i < requests.size(); ++i) {
            const WatchRequest expected{.kind = WatchRequest::Kind::voice,
                .clip = "clip",
                .part = static_cast<std::int64_t>(i),
                .last = i + 1 == c.parts.size(),
                .audio = Bytes{c.parts[i]}};
            EXPECT_EQ(requests[i], expected);
        }
    }
    EXPECT_THROW(WatchRequest::voice("x", "clip", 0), std::invalid_argument);
}

TEST(WatchAgent, ordersByNeedThenTitle)
{
    const auto agent = [](const char* title, AgentStatus status, std::optional<AttentionKind> waiting = {}) {
        WatchAgent made{.pane = title, .title = title, .status = status};
        made.waiting = waiting;
        return made;
    };
    WatchAgent twin = agent("beta", AgentStatus::done);
    twin.pane = "twin";
    const std::vector<WatchAgent> agents{agent("u", AgentStatus::unknown), agent("idle", AgentStatus::idle),
        agent("Beta", AgentStatus::done), agent("busy", AgentStatus::working), twin, agent("alpha", AgentStatus::done),
        agent("finished", AgentStatus::idle, AttentionKind::finished), agent("A", AgentStatus::blocked),
        agent("0 asks", AgentStatus::idle, AttentionKind::question), agent("Ärger", AgentStatus::blocked),
        agent("äpfel", AgentStatus::blocked)};
    std::vector<std::string> panes;
    for (const WatchAgent& each : WatchAgent::ordered(agents))
        panes.push_back(each.pane);
    EXPECT_EQ(panes,
        (std::vector<std::string>{
            "0 asks", "A", "äpfel", "Ärger", "alpha", "Beta", "twin", "busy", "finished", "idle", "u"}));
}

TEST(WatchPane, shortensEntriesAndScreen)
{
    WatchPane pane{.entries = {said("éééé"), said("ab👨‍👩‍👧de"), said("")}, .screen = "0123456789"};
    const WatchPane roomy = pane.fitting(1'000'000, 4);
    EXPECT_EQ(roomy.entries[0]->text, "éééé");
    EXPECT_EQ(roomy.entries[1]->text, "…b👨‍👩‍👧de");
    EXPECT_EQ(roomy.entries[1]->role, EntryRole::assistant);
    EXPECT_EQ(roomy.screen, pane.screen);
    EXPECT_EQ(pane.fitting(20, 4).screen, "0123456789"); // just half
    EXPECT_EQ(pane.fitting(19, 4).screen, "6789");
    EXPECT_EQ(pane.fitting(-1, -1).screen, "");
    EXPECT_TRUE(pane.fitting(-1, -1).entries.empty());
}

/// The budget is met exactly, and each step removes what it should: from a copy that takes the steps one by one.
TEST(WatchPane, dropsTheOldestEntriesUntilItFits)
{
    const WatchPane pane = paneOf(40, 100);
    std::vector<std::size_t> counts{40};
    std::vector<std::size_t> sizes;
    for (WatchPane step = pane;;) {
        sizes.push_back(WatchRelay::encoded(step).size());
        if (step.entries.empty())
            break;
        const std::size_t batch = std::max<std::size_t>(step.entries.size(), 8) / 8;
        step.entries.erase(step.entries.begin(), step.entries.begin() + static_cast<std::ptrdiff_t>(batch));
        counts.push_back(step.entries.size());
    }
    EXPECT_EQ(
        (std::vector<std::size_t>(counts.begin(), counts.begin() + 4)), (std::vector<std::size_t>{40, 35, 31, 28}));
    for (std::size_t i = 0; i < counts.size(); ++i) {
        const auto size = static_cast<std::int64_t>(sizes[i]);
        EXPECT_EQ(pane.fitting(size, 100).entries.size(), counts[i]);
        EXPECT_EQ(pane.fitting(size - 1, 100).entries.size(), i + 1 < counts.size() ? counts[i + 1] : 0);
    }
    EXPECT_EQ(pane.fitting(static_cast<std::int64_t>(sizes[3]), 100).entries.front(), pane.entries[12]);
    EXPECT_EQ(pane.fitting(0, 100).outgoing, pane.outgoing);
}

} // namespace

} // namespace tarnel
