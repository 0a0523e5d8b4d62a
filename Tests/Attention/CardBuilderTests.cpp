#include "TarnelCore/Attention/CardBuilder.h"
#include "TarnelCore/Base/Regex.h"
#include "TarnelCore/Base/Text.h"
#include <gtest/gtest.h>
#include <random>

namespace tarnel {

namespace {

using Strings = std::vector<std::string>;

std::string repeated(std::string_view text, std::size_t count)
{
    std::string all;
    for (std::size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

Transcript saying(const Strings& messages)
{
    Transcript transcript;
    for (const std::string& message : messages)
        transcript.entries.push_back(TranscriptEntry{.role = EntryRole::assistant, .text = message});
    return transcript;
}

Strings linksOf(const Transcript& transcript)
{
    Strings links;
    for (const Evidence& each : CardBuilder::evidence(transcript))
        links.push_back(each.url);
    return links;
}

TEST(CardBuilder, asksInOneLine)
{
    const std::string long240 = repeated("é", 240);
    struct Case {
        const char* what;
        std::string prompt;
        std::string asked;
    };
    const Case cases[] = {
        {"a command is its first line", " \n/review the parser. Now!\r\nand more", "/review the parser. Now!"},
        {"a command is cut", "/" + repeated("x", 200), "/" + repeated("x", 159)},
        {"the first sentence", "Speed up the parser. It is slow.", "Speed up the parser."},
        {"the shortest of the marks", "Is the parser slow? Then speed it up. Now! ", "Is the parser slow?"},
        {"too short to stand alone", "Fix it. Then run\nthe tests.\n\nThanks.", "Fix it. Then run the tests."},
        {"12 characters before the mark, not bytes", "ÄÖÜäöüÄÖÜäöü. b", "ÄÖÜäöüÄÖÜäöü."},
        {"11 are too few", "ÄÖÜäöüÄÖÜäö. b", "ÄÖÜäöüÄÖÜäö. b"},
        {"only the first of a mark counts", "No. This is long enough. Yes", "No. This is long enough. Yes"},
        {"a mark without a blank ends nothing", "Open parser.cpp please", "Open parser.cpp please"},
        {"240 fit", long240, long240},
        {"241 do not", long240 + "é", repeated("é", 239) + "…"},
        {"nothing", " \n ", ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(CardBuilder::asked(c.prompt), c.asked) << c.what;
}

TEST(CardBuilder, classifiesLinks)
{
    using Kind = Evidence::Kind;
    struct Case {
        std::string url;
        Kind kind;
        std::string label;
    };
    const Case cases[] = {
        {"https://git.example/a/b/pull/87", Kind::pullRequest, "PR #87"},
        {"https://git.example/a/b/pull/87/", Kind::pullRequest, "PR #87"},
        {"https://git.example/a/b/actions/runs/5", Kind::ci, "CI run"},
        {"https://git.example/a/b/checks", Kind::ci, "CI run"},
        {"https://linear.app/acme/issue/ENG-142/fix-login", Kind::ticket, "ENG-142"},
        {"https://linear.app/acme/fix-login", Kind::link, "linear.app"},
        {"https://linear.app/acme/fix-login.png", Kind::image, "Screenshot"},
        {"https://other.example/ENG-142", Kind::link, "other.example"},
        {"http://x/shot.jpg", Kind::image, "Screenshot"},
        {"http://me:pw@docs.example:8080?q#f", Kind::link, "docs.example"},
        {"http://docs.example:http/", Kind::link, "http://docs.example:http/"},
        {"https:///etc/passwd", Kind::link, "https:///etc/passwd"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(CardBuilder::classify(c.url), (Evidence{c.kind, c.label, c.url})) << c.url;
}

TEST(CardBuilder, collectsLinks)
{
    EXPECT_EQ(linksOf(saying({"See https://a.example/pull/87. Or (http://b.example/x), https://a.example/pull/87",
                  "`https://c.example/?q=1.,;:`"})),
        (Strings{"https://a.example/pull/87", "http://b.example/x", "https://c.example/?q=1"}));

    Strings ten;
    for (int i = 0; i < 10; ++i)
        ten.push_back("http://x/" + std::to_string(i));
    EXPECT_EQ(linksOf(saying({Text::joined(ten, " ")})), Strings(ten.begin() + 2, ten.end()));

    Transcript others = saying({"http://x/1"});
    others.entries.insert(others.entries.end(), 79, TranscriptEntry{.role = EntryRole::user, .text = "http://x/2"});
    EXPECT_EQ(linksOf(others), Strings{"http://x/1"});
    others.entries.push_back(TranscriptEntry{.role = EntryRole::tool, .text = "http://x/3"});
    EXPECT_EQ(linksOf(others), Strings{}); // the only one is out of sight
}

TEST(CardBuilder, findsLinksAsThePatternDoes)
{
    const Regex pattern(CardBuilder::urlPattern);
    const Strings parts{"http", "https", "://", "s", ":", "//", "/", "h", "x.y", " ", ")", "]", ">", "\"", "'", "`",
        "é", "\u00A0", "\u3000", "\n", "(", "http://", "https://a"};
    std::mt19937 random(1016);
    std::size_t found = 0;
    for (int i = 0; i < 20'000; ++i) {
        std::string text;
        for (int part = 0; part < 10; ++part)
            text += parts[random() % parts.size()];
        std::vector<std::string_view> expected;
        for (std::size_t at = 0; const auto match = pattern.find(text, at);) {
            expected.push_back((*match)[0]);
            at = static_cast<std::size_t>((*match)[0].end() - std::string_view(text).begin());
        }
        found += expected.size();
        ASSERT_EQ(CardBuilder::urls(text), expected) << text;
    }
    EXPECT_GT(found, 5'000u);
}

TEST(CardBuilder, fillsTheCard)
{
    const MuxleAgent agent{.paneID = "p_1",
        .workspaceID = "w_1",
        .agent = "claude",
        .status = AgentStatus::done,
        .cwd = "/src/app",
        .terminalTitle = "shell title"};
    const Card bare = CardBuilder::build("mini", agent, "app", nullptr, "tail");
    EXPECT_EQ(bare,
        (Card{.machine = "mini",
            .paneID = "p_1",
            .workspaceID = "w_1",
            .space = "app",
            .title = agent.title(),
            .agentKind = AgentKind::claude,
            .status = AgentStatus::done,
            .cwd = "/src/app",
            .screenTail = "tail"}));

    Transcript transcript = saying({"Look at http://x/1"});
    transcript.title = "";
    transcript.firstUserPrompt = "Add a cache";
    transcript.pending = PendingPlan{"# Cache"};
    transcript.lastAssistantMessage = repeated("ü", 1201);
    transcript.branch = "cache";
    transcript.lastActivity = Timestamp{} + std::chrono::seconds(5);
    transcript.entries.push_back(TranscriptEntry{.role = EntryRole::tool, .text = "Ran make", .toolName = "Bash"});
    MuxleAgent moved = agent;
    moved.foregroundCwd = "/src/lib";
    Card full = CardBuilder::build("mini", moved, "app", &transcript, std::nullopt);
    EXPECT_EQ(full.title, agent.title()); // an empty title is none
    EXPECT_EQ(full.cwd, "/src/lib");
    EXPECT_EQ(full.asked, "Add a cache");
    EXPECT_EQ(full.did, Strings{"Ran make"});
    EXPECT_EQ(full.pending, transcript.pending);
    EXPECT_EQ(full.lastMessage, repeated("ü", 1200));
    EXPECT_EQ(full.evidence.size(), 1u);
    EXPECT_EQ(full.branch, "cache");
    EXPECT_EQ(full.lastActivity, transcript.lastActivity);
    EXPECT_TRUE(full.hasRecord);

    transcript.title = "Cache the parser";
    transcript.lastUserPrompt = "And test it";
    full = CardBuilder::build("mini", moved, "app", &transcript, std::nullopt);
    EXPECT_EQ(full.title, "Cache the parser");
    EXPECT_EQ(full.asked, "And test it");
}

} // namespace

} // namespace tarnel
