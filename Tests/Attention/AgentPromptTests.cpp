#include "TarnelCore/Attention/AgentPrompt.h"
#include <gtest/gtest.h>

namespace tarnel {

namespace {

using Prompt = std::optional<std::string>;

std::string rule()
{
    std::string line = "\x1b[38;5;244m";
    for (int i = 0; i < 40; ++i)
        line += "─";
    return line + "\x1b[39m\r\n";
}

TEST(AgentPrompt, readsInputBoxes)
{
    const std::string above = "● Done.\r\n\r\n" + rule();
    const std::string below = rule() + "  \x1b[2m? for shortcuts\x1b[22m\r\n";
    struct Case {
        const char* what;
        AgentKind kind;
        std::string screen;
        Prompt prompt;
    };
    const Case cases[] = {
        {"typed, and a suggestion behind it", AgentKind::claude,
            above + "❯\u00A0fix the tests\x1b[2m and commit\x1b[0m\r\n" + below, "fix the tests"},
        {"two lines, the second indented further", AgentKind::claude, above + "❯ one\r\n     two  \r\n" + below,
            "one\n   two"},
        {"an empty line within", AgentKind::claude, above + "❯ one\n\n  two\n  \n" + below, "one\n\ntwo"},
        {"empty", AgentKind::claude, above + "❯\u00A0\r\n" + below, ""},
        {"only a suggestion", AgentKind::claude, above + "❯ \x1b[2mTry \"this\"\x1b[22m\n" + below, ""},
        {"a faint mark", AgentKind::claude, above + "\x1b[2m❯ \x1b[22mgo\n" + below, "go"},
        {"the cursor drawn in reverse", AgentKind::claude, above + "❯ fix\x1b[7m \x1b[27m\n" + below, "fix"},
        {"an earlier prompt above the box", AgentKind::claude, "❯ old\n" + above + "❯ new\n" + below, "new"},
        {"a menu instead of a box", AgentKind::claude, above + "❯ x\n" + rule() + "❯ 1. Yes\n  2. No\n", {}},
        {"no rule above", AgentKind::claude, "● Done.\n❯ fix\n" + below, {}},
        {"at the top", AgentKind::claude, "❯ fix\n" + below, {}},
        {"no rule below", AgentKind::claude, above + "❯ fix\n  more", {}},
        {"no mark", AgentKind::claude, above + "fix\n" + below, {}},
        {"a hyphen rule is none", AgentKind::claude, std::string(40, '-') + "\n❯ fix\n" + below, {}},
        {"two lines", AgentKind::codex, "\x1b[1m›\x1b[0m hello\r\n  world\r\n\r\n  not this", "hello\nworld"},
        {"ends at a line less indented", AgentKind::codex, "› hello\n world\n  more", "hello"},
        {"a placeholder", AgentKind::codex, "› \x1b[2mAsk for anything\x1b[0m\n\n  model · 98% left", ""},
        {"a faint line below adds an empty one", AgentKind::codex, "› hello\n\x1b[2m  hint\x1b[22m", "hello"},
        {"another agent", AgentKind::grok, above + "❯ fix\n" + below, {}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(AgentPrompt::read(c.screen, c.kind), c.prompt) << c.what;
}

TEST(AgentPrompt, removesControlSequences)
{
    struct Case {
        std::string line;
        std::string plain;
        std::string typed;
    };
    const Case cases[] = {
        {"a\x1b[2mb\x1b[22mc", "abc", "ac"},
        {"\x1b[2m\x1b[1Ka\x1b[?25lb", "ab", ""},
        {"\x1b[38;2;2;2;2ma\x1b[58;5;2mb", "ab", "ab"},
        {"\x1b]8;;http://x\aa\x1b]8;;\x1b\\b", "ab", "ab"}, // links, ended in either way
        {"a\x1b(Bb\x1b"
         "7c\x1b=d",
            "abcd", "abcd"},
        {"a\x1bé", "aé", "aé"},
        {"a\x1b", "a", "a"},
        {"a\x1b[2;3", "a", "a"},
        {"a\x1b]0;title", "a", "a"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(AgentPrompt::visible(c.line), (AgentPrompt::Line{c.plain, c.typed})) << c.plain;
}

TEST(AgentPrompt, comparesWhatTheBoxShows)
{
    EXPECT_TRUE(AgentPrompt::shows("a\n\nb", "a \u00A0\n \nb\n \n"));
    EXPECT_TRUE(AgentPrompt::shows("", " \n"));
    EXPECT_FALSE(AgentPrompt::shows("a", " a"));
    EXPECT_FALSE(AgentPrompt::shows("a ", "a "));
}

TEST(AgentPrompt, editsInPlace)
{
    struct Case {
        std::string current;
        std::string desired;
        AgentKind kind;
        std::string keys;
    };
    const std::string family = "👨‍👩‍👧";
    const Case cases[] = {
        {"hello world", "hello there", AgentKind::claude, "\x7f\x7f\x7f\x7f\x7fthere"},
        {"", "a\nb", AgentKind::claude, "a\x1b\rb"},
        {"", "a\nb", AgentKind::codex, "a\nb"},
        {"a\nb", "a", AgentKind::claude, "\x7f\x7f"},
        {"same", "same", AgentKind::claude, ""},
        {"x" + family, "x👨", AgentKind::claude, "\x7f👨"}, // a character goes as a whole
        {"e\u0301", "e", AgentKind::claude,
            "\x7f"
            "e"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(AgentPrompt::keystrokes(c.current, c.desired, c.kind), c.keys) << c.current;
}

} // namespace

} // namespace tarnel
