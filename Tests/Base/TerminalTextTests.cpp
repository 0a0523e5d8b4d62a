#include "TarnelCore/Base/TerminalText.h"
#include <gtest/gtest.h>

namespace tarnel {

namespace {

TEST(TerminalText, plainLineLetsNothingThroughThatATerminalObeys)
{
    struct Case {
        const char* what;
        std::string text;
        std::string line;
    };
    const Case cases[] = {
        {"white space of all kinds", "  a\t\n\r\n b\u00a0c\u2028d ", "a b c d"},
        {"colours", "\x1b[1;31mred\x1b[0m!", "red!"},
        {"cursor movement with intermediates", "a\x1b[3 qb\x1b[?25lc", "abc"},
        {"a title, ended by bell and by ST", "\x1b]0;title\ax\x1b]8;;http://a\x1b\\y", "xy"},
        {"a device string", "\x1bP+q544e\x1b\\z", "z"},
        {"one-character C1 controls", "a\u009b31mb\u009d0;t\u009cc\u0085d",
            "ab"
            "c d"},
        {"character sets and two-letter escapes",
            "\x1b(Ba\x1b=b\x1b"
            "7c\x1b"
            "cd",
            "abcd"},
        {"a sequence that is cut off", "a\x1b[31", "a"},
        {"a string that never ends loses no text", "a\x1b]0;b c", "a0;b c"},
        {"a string that another escape interrupts", "\x1b]0;b\x1b(Bc", "0;bc"},
        {"lone escapes and nested ones", "\x1b\x1b[31ma\x1b", "a"},
        {"C0 and DEL inside words",
            "a\x01"
            "b\x7f"
            "c\b",
            "abc"},
        {"bidirectional overrides", "a\u202eb\u2066c", "abc"},
        {"bytes that are not UTF-8",
            "a\x9b"
            "31m",
            "a\ufffd31m"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(TerminalText::plainLine(c.text), c.line) << c.what;
}

TEST(TerminalText, plainTextKeepsLinesAndSpacing)
{
    struct Case {
        const char* what;
        std::string text;
        std::string plain;
    };
    const Case cases[] = {
        {"spacing and empty lines", "  a   b\n\n c \r\nd", "  a   b\n\n c \nd"},
        {"sequences across a line", "\x1b[1ma\x1b[0m\n\x1b]0;title\ab\u009b2Jc", "a\nbc"},
        {"tabs, counted in cells", "日\tx\n\ty\x1b[K\tz", "日      x\n        y       z"},
        {"a lone carriage return, which would overwrite", "safe\rrm", "saferm"},
        {"marks that reorder", "a\u202eb", "ab"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(TerminalText::plainText(c.text), c.plain) << c.what;
}

TEST(TerminalText, cutsAndFillsByCells)
{
    struct Case {
        std::string text;
        std::size_t width;
        std::string cutToFour;
        std::string paddedToFour;
    };
    const Case cases[] = {
        {"", 0, "", "    "},
        {"abcd", 4, "abcd", "abcd"},
        {"abcde", 5, "abc…", "abc…"},
        {"日本", 4, "日本", "日本"},
        {"日本語", 6, "日…", "日… "},
        {"a日本", 5, "a日…", "a日…"},
        {"e\u0301e\u0301e\u0301", 3, "e\u0301e\u0301e\u0301", "e\u0301e\u0301e\u0301 "},
        {"👨‍👩‍👧👨‍👩‍👧x", 5, "👨‍👩‍👧…", "👨‍👩‍👧… "},
        {"❤️🇩🇪", 4, "❤️🇩🇪", "❤️🇩🇪"},
        {"한국", 4, "한국", "한국"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(TerminalText::width(c.text), c.width);
        EXPECT_EQ(TerminalText::cut(c.text, 4), c.cutToFour);
        EXPECT_EQ(TerminalText::padded(c.text, 4), c.paddedToFour);
    }
    EXPECT_EQ(TerminalText::cut("ab", 1), "…");
    EXPECT_EQ(TerminalText::cut("ab", 0), "");
}

} // namespace

} // namespace tarnel
