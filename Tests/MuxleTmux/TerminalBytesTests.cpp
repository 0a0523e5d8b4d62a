#include "muxle-tmux/PaneInput.h"
#include "muxle-tmux/PaneReading.h"
#include "muxle-tmux/ScreenFrame.h"
#include "muxle-tmux/StyledLines.h"
#include <gtest/gtest.h>

namespace tarnel::tmux {

namespace {

TEST(MuxleTmuxTerminalBytes, givesEachLineItsStyles)
{
    struct Case {
        const char* what;
        const char* text;
        const char* result;
    };
    const Case cases[] = {
        {"plain text stays", "a\nb\n", "a\nb\n"},
        {"a colour goes on", "\033[31mred\nstill", "\033[31mred\n\033[31mstill"},
        {"until it is reset", "\033[31mred\033[0m\nplain", "\033[31mred\033[0m\nplain"},
        {"one of two goes off", "\033[1;31mx\033[39m\ny", "\033[1;31mx\033[39m\n\033[1my"},
        {"bold and faint go off together", "\033[1m\033[2m\033[3mx\033[22m\ny",
            "\033[1m\033[2m\033[3mx\033[22m\n\033[3my"},
        {"the later colour counts", "\033[38;5;12m\033[38;2;1;2;3mx\ny",
            "\033[38;5;12m\033[38;2;1;2;3mx\n\033[38;2;1;2;3my"},
        {"a 2 within a colour is not faint", "\033[48;5;2mx\033[49m\ny", "\033[48;5;2mx\033[49m\ny"},
        {"an empty sequence resets", "\033[7mx\033[m\ny", "\033[7mx\033[m\ny"},
        {"other sequences are no styles", "\033[2K\033]8;;x\033\\y\nz", "\033[2K\033]8;;x\033\\y\nz"},
        {"empty lines stay empty", "\033[4m\n\nx", "\033[4m\n\n\033[4mx"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(withOwnStyles(c.text), c.result);
    }
}

TEST(MuxleTmuxTerminalBytes, keepsTheLastLines)
{
    EXPECT_EQ(PaneReading::lastLines("a\nb  \n\n \033[0m\n\n", 1), "b");
    EXPECT_EQ(PaneReading::lastLines("a\n\nb\n", 9), "a\n\nb");
    EXPECT_EQ(PaneReading::lastLines("a\nb", 0), "");
    EXPECT_EQ(PaneReading::lastLines("\n\n", std::nullopt), "");
}

TEST(MuxleTmuxTerminalBytes, pastesNothingThatCouldEndThePaste)
{
    EXPECT_EQ(PaneInput::pastable("a\r\nb\rc\td\033[201~\x03\x7f"
                                  "é"),
        "a\nb\nc\td[201~é");
}

TEST(MuxleTmuxTerminalBytes, redrawsScreens)
{
    const auto state = ScreenFrame::parse("10 3 2 1 0 2 0 0 0 1 0 1 0 7");
    ASSERT_TRUE(state);
    EXPECT_EQ(state->session, 7);
    const std::string bytes = ScreenFrame::redraw(*state, "one\n\nthree", "\033[3");
    const auto order = [&](std::string_view first, std::string_view second) {
        return bytes.find(first) != bytes.npos && bytes.rfind(second) != bytes.npos
            && bytes.find(first) < bytes.rfind(second);
    };
    EXPECT_TRUE(order("\033[?1049l", "\033[2J"));
    EXPECT_TRUE(order("\033[2J", "\033[1;1Hone"));
    EXPECT_TRUE(order("\033[1;1Hone", "\033[3;1Hthree"));
    EXPECT_TRUE(order("\033[3;1Hthree", "\033[?25l"));
    EXPECT_TRUE(bytes.ends_with("\033[2;3H\033[3")) << "the cursor, then what the program has begun";
    EXPECT_FALSE(ScreenFrame::parse("10 3 2 1 0 2 0 0 0 1 0 1 0")) << "a pane that has gone expands to less";
}

} // namespace

} // namespace tarnel::tmux
