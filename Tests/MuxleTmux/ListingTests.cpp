#include "muxle-tmux/Listing.h"
#include <gtest/gtest.h>

namespace tarnel::tmux {

namespace {

TEST(MuxleTmuxListing, readsRecordsWhateverTheirTextsHold)
{
    const Listing listing("sep");
    const std::string text = "sep>%3 @1 4711 80 24 0 5 120 0 1sep|a | b\nsep\tsep|claudesep|sep|idlesep|\n"
                             "sep>%4 @1 4712 80 24 0 5 120 0sep|one number is missingsep|sep|sep|sep|\n"
                             "sep>%5 @1 4713 80 24 0 5 120 x 0sep|no numbersep|sep|sep|sep|\n"
                             "sep>%6 @1 4714 80 24 0 5 120 1 0sep|a text is missingsep|sep|\n"
                             "sep>%3 @1 4711 80 24 0 5 120 0 1sep|the same pane againsep|sep|sep|sep|\n"
                             "sep>%7 @2 4715 10 5 0 0 0 1 0sep|\xff"
                             "sep|sep|sep|sep|last";
    const auto panes = listing.panes(text);
    ASSERT_EQ(panes.size(), 2u);
    EXPECT_EQ(panes[0],
        (ListedPane{.pane = 3,
            .window = 1,
            .process = 4711,
            .width = 80,
            .height = 24,
            .cursorX = 0,
            .cursorY = 5,
            .history = 120,
            .isAlternate = false,
            .isDead = true,
            .title = "a | b\nsep\t",
            .agent = "claude",
            .agentSession = "",
            .agentStatus = "idle",
            .name = ""}));
    EXPECT_EQ(panes[1].title, "\xEF\xBF\xBD") << "what is not UTF-8 does not reach clients";
    EXPECT_EQ(panes[1].name, "last");

    const auto windows = listing.windows("sep>$0 @1 3 1 0 1795389301 %5 b25d,80x24,0,0,0sep|a name\n");
    ASSERT_EQ(windows.size(), 1u);
    EXPECT_EQ(windows[0],
        (ListedWindow{.session = 0,
            .window = 1,
            .index = 3,
            .isActive = true,
            .isZoomed = false,
            .activity = 1795389301,
            .activePane = 5,
            .layout = "b25d,80x24,0,0,0",
            .name = "a name"}));
    EXPECT_TRUE(listing.panes("").empty());
}

} // namespace

} // namespace tarnel::tmux
