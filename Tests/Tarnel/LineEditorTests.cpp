#include "TarnelCore/Base/TerminalText.h"
#include "tarnel/LineEditor.h"
#include "tarnel/StyledRow.h"
#include <gmock/gmock.h>

namespace tarnel {

namespace {

using ::testing::ElementsAre;
using Name = TopKey::Name;

TEST(LineEditor, editsByCharactersAndWords)
{
    struct Case {
        const char* what;
        std::vector<TopKey> keys;
        std::string text; // with | where the cursor stands
    };
    const TopKey left{Name::left};
    const TopKey backspace{Name::backspace};
    const Case cases[] = {
        {"at the end", {TopKey::character("!")}, "größe 日本 x!|"},
        {"a wide character goes whole", {left, left, backspace}, "größe 日| x"},
        {"nothing before the start", {{Name::home}, backspace, left}, "|größe 日本 x"},
        {"nothing behind the end", {{Name::deleteKey}, {Name::right}}, "größe 日本 x|"},
        {"a word and what stands before it", {TopKey::control("w"), TopKey::control("w")}, "größe |"},
        {"to the start", {left, TopKey::control("u")}, "|x"},
        {"to the end", {TopKey::control("a"), {Name::right}, TopKey::control("k")}, "g|"},
        {"no control character", {TopKey::paste("\x1b[1ma\tb\r\nc\x9b")}, "größe 日本 x[1ma b\nc\xEF\xBF\xBD|"},
    };
    for (const Case& c : cases) {
        LineEditor editor = LineEditor::holding("größe 日本 x");
        for (const TopKey& key : c.keys)
            EXPECT_TRUE(editor.take(key)) << c.what;
        std::string shown = editor.text;
        EXPECT_EQ(shown.insert(editor.cursor, "|"), c.text) << c.what;
    }
    LineEditor editor;
    EXPECT_FALSE(editor.take({Name::enter}) || editor.take({Name::escape}) || editor.take({Name::up}));
}

TEST(LineEditor, keepsTheCursorInSight)
{
    const std::string text = "ab\n日本語 and more of it";
    for (std::size_t cursor : {0U, 2U, 3U, 6U, 12U, 20U, 27U}) {
        for (std::size_t cells = 1; cells < 30; ++cells) {
            LineEditor editor{.text = text, .cursor = cursor};
            const LineEditor::View view = editor.view(cells);
            EXPECT_LT(view.cursorCell, cells);
            EXPECT_LE(TerminalText::width(view.text), cells);
        }
    }
    EXPECT_EQ((LineEditor{.text = text, .cursor = 3}.view(40).text), "ab⏎日本語 and more of it");
}

TEST(StyledRow, cutsAcrossItsSpans)
{
    StyledRow row("abc", Paint::bold);
    row.add("defg", Paint::red);
    EXPECT_EQ(row.cut(7), row);
    EXPECT_EQ(row.cut(5).text(), "abcd…");
    EXPECT_EQ(row.cut(4).text(), "abc…");
    EXPECT_EQ(row.cut(3).text(), "ab…") << "what is left out is told where the spans meet, too";
    EXPECT_EQ(row.cut(0).text(), "");
    EXPECT_EQ(row.padded(9).text(), "abcdefg  ");
}

} // namespace

} // namespace tarnel
