#include "tarnel/FrameFilter.h"
#include "tarnel/TypedKeys.h"
#include <gtest/gtest.h>

namespace tarnel {

namespace {

using Pieces = std::vector<PaneTyping>;

/// What is typed in all, however it is cut into pieces.
Pieces joined(const Pieces& pieces)
{
    Pieces all;
    for (const PaneTyping& piece : pieces) {
        if (!all.empty() && (all.back().keys.empty() || piece.text.empty())) {
            all.back().text += piece.text;
            all.back().keys.insert(all.back().keys.end(), piece.keys.begin(), piece.keys.end());
        } else {
            all.push_back(piece);
        }
    }
    return all;
}

TEST(TypedKeys, namesWhatTheTerminalSends)
{
    struct Case {
        const char* what;
        std::string bytes;
        Pieces pieces;
        bool leaves = false;
    };
    using namespace std::string_literals;
    const Case cases[] = {
        {"text", "h\xC3\xA9 \xE2\x9C\x93", {{"h\xC3\xA9 \xE2\x9C\x93", {}}}},
        {"text, a key, text", "ls\rx", {{"ls", {"enter"}}, {"x", {}}}},
        {"control characters", "\x01\x03\t\x7f\x1c\x00"s,
            {{"", {"ctrl+a", "ctrl+c", "tab", "backspace", "ctrl+\\", "ctrl+space"}}}},
        {"cursor keys of both modes", "\x1b[A\x1bOB\x1b[H", {{"", {"up", "down", "home"}}}},
        {"function keys", "\x1bOP\x1b[15~\x1b[24~\x1b[3~", {{"", {"f1", "f5", "f12", "delete"}}}},
        {"modifiers", "\x1b[1;5C\x1b[1;2D\x1b[5;3~\x1b[Z",
            {{"", {"ctrl+right", "shift+left", "alt+pageup", "shift+tab"}}}},
        {"alt",
            "\x1b"
            "b\x1b\r\x1b\xC3\xA9",
            {{"", {"alt+b", "alt+enter", "alt+\xC3\xA9"}}}},
        {"escape before a key", "\x1b\x1b[A", {{"", {"esc", "up"}}}},
        {"codes", "\x1b[99;5u\x1b[13;2u\x1b[27;5;97~", {{"", {"ctrl+c", "shift+enter", "ctrl+a"}}}},
        {"the terminal's answers", "\x1b[?62;4c\x1b[12;40R\x1b]11;rgb:0/0/0\x1b\\\x1bP1+r\x1b\\\x1b[>0;1c\x1b[I", {}},
        {"the mouse", "\x1b[<0;3;4M", {{"\x1b[<0;3;4M", {}}}},
        {"what is pasted", "\x1b[200~a\rb\x03\x1b[201~", {{"\x1b[200~a\rb\x03\x1b[201~", {}}}},
        {"the way out",
            "ab\x1d"
            "cd",
            {{"ab", {}}}, true},
        {"the way out by its code", "\x1b[93;5u", {}, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        for (std::size_t chunk = 1; chunk <= c.bytes.size(); ++chunk) { // however it arrives
            TypedKeys keys;
            Pieces pieces;
            bool leaves = false;
            for (std::size_t at = 0; at < c.bytes.size() && !leaves; at += chunk) {
                const TypedKeys::Typed typed = keys.take(std::string_view(c.bytes).substr(at, chunk));
                pieces.insert(pieces.end(), typed.pieces.begin(), typed.pieces.end());
                leaves = typed.leaves;
            }
            EXPECT_EQ(joined(pieces), c.pieces) << chunk;
            EXPECT_EQ(leaves, c.leaves);
            EXPECT_FALSE(keys.isWaiting());
        }
    }
    TypedKeys keys;
    EXPECT_EQ(keys.take("\x1b"), TypedKeys::Typed());
    EXPECT_TRUE(keys.isWaiting());
    EXPECT_EQ(keys.flush(), (TypedKeys::Typed{.pieces = {{"", {"esc"}}}}));
}

TEST(FrameFilter, staysOnItsScreen)
{
    struct Case {
        const char* what;
        std::string bytes;
        std::string passed;
        bool switches = false;
        ScreenSize pane = {80, 24};
    };
    const Case cases[] = {
        {"all else passes", "a\x1b[1;31mb\x1b[?25l\x1b]0;t\a\x1b(B\x1b[2J",
            "a\x1b[1;31mb\x1b[?25l\x1b]0;t\a\x1b(B\x1b[2J"},
        {"a switch of the screen", "a\x1b[?1049lb\x1b[?47hc", "abc", true},
        {"among other modes", "\x1b[?1049;25;1h", "\x1b[?25;1h", true},
        {"a reset",
            "\x1b"
            "c",
            "\x1b[0m\x1b[r\x1b[H\x1b[2J", true},
        {"a pane of fewer lines", "\x1b[r\x1b[2;5r", "\x1b[1;10r\x1b[2;5r", false, {80, 10}},
        {"a wider pane", "\x1b[?7h\x1b[?7;25h", "\x1b[?7l\x1b[?25h\x1b[?7l", false, {120, 24}},
        {"a sequence without an end", "\x1b[" + std::string(400, '1'), "\x1b[" + std::string(400, '1')},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        for (std::size_t chunk = 1; chunk <= c.bytes.size(); ++chunk) {
            FrameFilter filter;
            std::string passed;
            for (std::size_t at = 0; at < c.bytes.size(); at += chunk)
                passed += filter.pass(std::string_view(c.bytes).substr(at, chunk), c.pane, {80, 24});
            EXPECT_EQ(passed, c.passed) << chunk;
            EXPECT_EQ(filter.takeSwitch(), c.switches);
            EXPECT_FALSE(filter.takeSwitch());
        }
    }
}

} // namespace

} // namespace tarnel
