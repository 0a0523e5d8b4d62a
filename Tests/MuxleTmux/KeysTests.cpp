#include "muxle-tmux/Keys.h"
#include <gtest/gtest.h>

namespace tarnel::tmux {

namespace {

TEST(MuxleTmuxKeys, knowsNames)
{
    struct Case {
        const char* name;
        const char* tmuxName; // null: no such key
        std::string bytes;
    };
    const Case cases[] = {
        {"enter", "Enter", "\r"}, {"ESC", "Escape", "\033"}, {"tab", "Tab", "\t"}, {"shift+tab", "BTab", "\033[Z"},
        {"backspace", "BSpace", "\177"}, {"space", "Space", " "}, {" ", "Space", " "}, {"up", "Up", "\033[A"},
        {"shift+left", "S-Left", "\033[1;2D"}, {"ctrl+alt+right", "C-M-Right", "\033[1;7C"},
        {"alt+up", "M-Up", "\033[1;3A"}, {"delete", "DC", "\033[3~"}, {"ctrl+pageup", "C-PageUp", "\033[5;5~"},
        {"f1", "F1", "\033OP"}, {"shift+f1", "S-F1", "\033[1;2P"}, {"f12", "F12", "\033[24~"},
        {"ctrl+x", "C-x", "\030"}, {"ctrl+X", "C-x", "\030"}, {"ctrl+[", "C-[", "\033"}, {"alt+x", "M-x", "\033x"},
        {"ctrl+alt+x", "C-M-x", "\033\030"}, {"ctrl+space", "C-Space", std::string(1, '\0')},
        {"alt+enter", "M-Enter", "\033\r"}, {"shift+x", "X", "X"}, {"1", "1", "1"}, {"+", "+", "+"},
        {"ctrl++", nullptr, ""}, {"alt++", "M-+", "\033+"}, {"é", "é", "é"}, {"", nullptr, ""}, {"entr", nullptr, ""},
        {"f13", nullptr, ""}, {"ctrl+enter", nullptr, ""}, // terminals send the same as for enter
        {"ctrl+shift+x", nullptr, ""}, {"hyper+x", nullptr, ""}, {"\n", nullptr, ""}, {"\xff", nullptr, ""},
        {"e\u0301", nullptr, ""}, // tmux would type one half and then the other
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto key = keyNamed(c.name);
        ASSERT_EQ(key.has_value(), c.tmuxName != nullptr);
        if (key) {
            EXPECT_EQ(key->tmuxName, c.tmuxName);
            EXPECT_EQ(key->bytes, c.bytes);
        }
    }
    EXPECT_EQ(keyNamed("up")->applicationFinal, 'A');
    EXPECT_EQ(keyNamed("ctrl+up")->applicationFinal, 0);
    EXPECT_EQ(keyNamed("f1")->applicationFinal, 0);
}

} // namespace

} // namespace tarnel::tmux
