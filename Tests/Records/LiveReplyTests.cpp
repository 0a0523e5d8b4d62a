#include "TarnelCore/Records/LiveReply.h"
#include <chrono>
#include <gtest/gtest.h>

namespace tarnel {

namespace {

const std::string box = "────────\n❯ \n────────\n  ? for shortcuts";

TEST(LiveReply, readsScreens)
{
    struct Case {
        const char* what;
        AgentKind kind;
        std::string screen;
        std::optional<std::string> reply;
    };
    constexpr AgentKind claude = AgentKind::claude;
    constexpr AgentKind codex = AgentKind::codex;
    const Case cases[] = {
        {"three lines, CRs", claude, "❯ fix it\r\n\r\n⏺ Here is the fix:\r\n  one\r\n    two\r\n\r\n" + box,
            "Here is the fix:\none\n  two"},
        {"the last block", claude, "⏺ Old\n\n⏺ New\n\n  more\n" + box, "New\n\nmore"},
        {"ends at a line without indentation", claude, "⏺ New\n✻ Thinking…\n  tip\n" + box, "New"},
        {"a variation selector belongs to its bullet", claude, "⏺\uFE0F New\n" + box, "New"},
        {"far to the right is an aside", claude, "⏺ New\n" + std::string(20, ' ') + "1 file changed\n \t\n" + box,
            "New"},
        {"notices of more below", claude, "⏺ A\n  one   3 new messages (click) ↓ 1 new message (click) ↓  two\n" + box,
            "A\none  two"},
        {"a tool's output", claude, "⏺ Ran it\n  ⎿ done\n" + box, {}},
        {"a tool step", claude, "⏺ Text\n⏺ Bash(ls -la)\n" + box, {}},
        {"the prompt of an earlier turn", claude, "⏺ Text\n❯ and now\n" + box, {}},
        {"a menu in the box's place", claude, "⏺ Text\n\n❯ 1. Yes\n  2. No", {}},
        {"a rule too short", claude, "⏺ Text\n───\n❯ ", {}},
        {"a rule with a word in it", claude, "⏺ Text\n──── plan ────\n❯ ", {}},
        {"an indented rule", claude, "⏺ Text\n \t──── \n❯ ", "Text"},
        {"no prompt", claude, "⏺ Text\n────", {}},
        {"the prompt first", claude, "❯ ", {}},
        {"only blanks", claude, "⏺  \n   \n" + box, {}},
        {"nothing", claude, "", {}},
        {"codex, two lines", codex, "› do\n\n• First\n  second\n\n› ", "First\nsecond"},
        {"codex at work", codex, "• Reply\n  more\n\n• Working (3s • esc to interrupt)\n\n› ", "Reply\nmore"},
        {"a codex step", codex, "• Reply\n\n• Ran cargo test\n› ", {}},
        {"codex, a word that only starts like a step", codex, "• Random\n› ", "Random"},
        {"codex output below", codex, "• Look\n  └ file\n› ", {}},
        {"codex output below, longer", codex, "• Look\n  │ file\n› ", {}},
        {"codex, the user spoke since", codex, "• Reply\n› again\n› ", {}},
        {"codex, no prompt", codex, "• Reply", {}},
        {"an agent that is not read", AgentKind::grok, "⏺ Text\n" + box, {}},
        {"bytes that are no UTF-8", claude, "⏺ \xff(\xfe)\n  \xe2\x8e\n" + box, "\xff(\xfe)\n\xe2\x8e"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(LiveReply::read(c.screen, c.kind, nullptr), c.reply);
    }
}

TEST(LiveReply, tellsClaudeSteps)
{
    for (const char* line : {"Bash(npm test)", "é(x…", "Worked · 1m 5s", "Done · 12s", "Read(a (b) c)",
             "github - list (MCP)(owner: \"me\") and more"})
        EXPECT_TRUE(LiveReply::isClaudeStep(line)) << line;
    for (const char* line : {"Here is the fix:", "(an aside)", "Like this (see below)", "3(x)", "Call f(x) now",
             "f(x).", "took 12s", "Done · 12s.", "Update(src/a.cpp", ""})
        EXPECT_FALSE(LiveReply::isClaudeStep(line)) << line;
}

TEST(LiveReply, passesOverLongRunsOfBlanksAndDigits)
{
    // A search that starts anew at each place of a run would take minutes.
    const std::string run = std::string(400'000, ' ') + std::string(400'000, '7');
    const auto start = std::chrono::steady_clock::now();
    const auto reply = LiveReply::read("⏺ A\n  a" + run + " new (click) ↓\n" + box, AgentKind::claude, nullptr);
    EXPECT_EQ(reply, "A\na" + run + " new (click) ↓");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(LiveReply, knowsWhatIsRecorded)
{
    const auto said = [](EntryRole role, const char* text) { return TranscriptEntry{.role = role, .text = text}; };
    Transcript transcript;
    transcript.entries = {said(EntryRole::assistant, "Earlier words."), said(EntryRole::user, "Go on"),
        said(EntryRole::assistant, "**Done:** all *tests* pass."), said(EntryRole::tool, "Ran npm test"),
        said(EntryRole::assistant, "—")};
    const std::pair<const char*, bool> cases[] = {{"Done: all te", true}, {"done all tests pass. And more", true},
        {"Earlier words", false}, {"Ran npm test", false}, {"Something else", false}};
    for (const auto& [text, isRecorded] : cases)
        EXPECT_EQ(LiveReply::recorded(text, &transcript), isRecorded) << text;
    EXPECT_EQ(LiveReply::read("⏺ Done: all\n  te\n" + box, AgentKind::claude, &transcript), std::nullopt);
    transcript.entries = {said(EntryRole::assistant, "Only words")};
    EXPECT_TRUE(LiveReply::recorded("only", &transcript));
    EXPECT_FALSE(LiveReply::recorded("only", nullptr));
}

TEST(StreamReveal, endsStepsAtWords)
{
    std::string words;
    for (int i = 0; i < 100; ++i)
        words += "abc defg"; // 800 characters, blanks at 3, 11, 19, ...
    struct Case {
        std::size_t shown;
        std::string text;
        std::size_t next;
    };
    const Case cases[] = {
        {0, words, 107}, // an eighth, then to the blank
        {721, words, 731}, // less than 80 left: ten more is a blank already
        {720, words, 731}, // 80 left: an eighth is ten as well
        {790, words, 800},
        {800, words, 800},
        {900, words, 800},
        {0, std::string(50, 'a'), 50},
        {0, "ééééééééééé b", 11},
        {0, "aaaaaaaaaa\r\nbbb", 10},
        {0, "", 0},
    };
    for (const Case& c : cases)
        EXPECT_EQ(StreamReveal::next(c.shown, c.text), c.next) << c.shown << " of " << c.text;
    EXPECT_TRUE(StreamReveal::continues("Hello, wor", "hello world"));
    EXPECT_FALSE(StreamReveal::continues("hello world", "hello"));
    EXPECT_FALSE(StreamReveal::continues("—", "anything"));
}

} // namespace

} // namespace tarnel
