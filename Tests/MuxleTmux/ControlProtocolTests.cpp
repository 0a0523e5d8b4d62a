#include "muxle-tmux/ControlProtocol.h"
#include <gtest/gtest.h>

namespace tarnel::tmux {

namespace {

TEST(MuxleTmuxControlProtocol, splitsMessagesHoweverTheyAreCut)
{
    const std::string text = "%begin 100 1 0\n%end 100 1 0\n"
                             "%session-changed $0 a name\n"
                             "%begin 100 7 1\nline\n\n%end 100 6 1\n%output %1 x\n%end 100 7 1\n"
                             "%begin 101 8 1\ncan't find pane: %9\n%error 101 8 1\n"
                             "%begin 101 9 1\n%end 101 9 1\n"
                             "%sessions-changed\n%exit\n";
    const std::vector<ControlMessage> expected{
        ControlReply{},
        ControlNotification{"session-changed", "$0 a name"},
        // Neither another block's end nor a notification inside a block is what it looks like.
        ControlReply{true, false, "line\n\n%end 100 6 1\n%output %1 x"},
        ControlReply{true, true, "can't find pane: %9"},
        ControlReply{true, false, ""},
        ControlNotification{"sessions-changed", ""},
        ControlNotification{"exit", ""},
    };
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
        SCOPED_TRACE(cut);
        ControlParser parser;
        std::vector<ControlMessage> messages;
        parser.feed(std::string_view(text).substr(0, cut), messages);
        parser.feed(std::string_view(text).substr(cut), messages);
        EXPECT_EQ(messages, expected);
    }
}

TEST(MuxleTmuxControlProtocol, undoesTheEscapesOfOutput)
{
    EXPECT_EQ(unescapedOutput(R"(\033[1mé\015\012a\134b)"), "\033[1mé\r\na\\b");
    EXPECT_EQ(unescapedOutput(R"(\9 \01)"), R"(\9 \01)") << "what is no escape stays";
    EXPECT_EQ(unescapedOutput(R"(\000)"), std::string(1, '\0'));
}

} // namespace

} // namespace tarnel::tmux
