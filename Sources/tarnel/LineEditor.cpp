#include "tarnel/LineEditor.h"
#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>

namespace tarnel {

namespace {

/// Text that was typed or pasted, without what a terminal would obey; its line breaks as line feeds.
std::string typeable(std::string_view text)
{
    const std::string unified = Text::replacingAll(Text::replacingAll(text, "\r\n", "\n"), "\r", "\n");
    std::string made;
    for (std::string_view rest = unified; !rest.empty();) {
        const Text::Scalar scalar = Text::firstScalar(rest);
        const bool isControl = scalar.value < 0x20 || (scalar.value >= 0x7F && scalar.value < 0xA0);
        if (scalar.value == '\t')
            made += ' ';
        else if (!isControl || scalar.value == '\n')
            Text::append(made, scalar.value);
        rest.remove_prefix(scalar.length);
    }
    return made;
}

std::string shown(std::string_view text) { return Text::replacingAll(text, "\n", "⏎"); }

} // namespace

LineEditor LineEditor::holding(std::string held)
{
    const std::size_t length = held.size();
    return {.text = std::move(held), .cursor = length};
}

bool LineEditor::take(const TopKey& key)
{
    using Name = TopKey::Name;
    if (key.name == Name::character || key.name == Name::paste)
        insert(typeable(key.text));
    else if (key.name == Name::backspace || key.isControl("h"))
        erase(characterBefore(), cursor);
    else if (key.name == Name::deleteKey || key.isControl("d"))
        erase(cursor, characterAfter());
    else if (key.isControl("w"))
        erase(wordBefore(), cursor);
    else if (key.isControl("u"))
        erase(0, cursor);
    else if (key.isControl("k"))
        erase(cursor, text.size());
    else if (key.name == Name::left || key.isControl("b"))
        cursor = characterBefore();
    else if (key.name == Name::right || key.isControl("f"))
        cursor = characterAfter();
    else if (key.name == Name::home || key.isControl("a"))
        cursor = 0;
    else if (key.name == Name::end || key.isControl("e"))
        cursor = text.size();
    else
        return false;
    return true;
}

LineEditor::View LineEditor::view(std::size_t cells) const
{
    // The part starts where the cursor has just room at its end.
    std::string before = shown(std::string_view(text).substr(0, cursor));
    while (!before.empty() && TerminalText::width(before) + 1 > cells)
        before.erase(0, Text::firstCharacterLength(before));
    const std::size_t cell = TerminalText::width(before);
    const std::string after = shown(std::string_view(text).substr(cursor));
    return {.text = before + TerminalText::cut(after, cells - std::min(cells, cell)), .cursorCell = cell};
}

void LineEditor::insert(std::string_view added)
{
    text.insert(cursor, added);
    cursor += added.size();
}

void LineEditor::erase(std::size_t from, std::size_t to)
{
    text.erase(from, to - from);
    cursor = from;
}

std::size_t LineEditor::characterBefore() const
{
    return cursor - Text::suffix(std::string_view(text).substr(0, cursor), 1).size();
}

std::size_t LineEditor::characterAfter() const
{
    return cursor + Text::firstCharacterLength(std::string_view(text).substr(cursor));
}

std::size_t LineEditor::wordBefore() const
{
    const std::string_view before = std::string_view(text).substr(0, cursor);
    const std::size_t last = before.find_last_not_of(" \n");
    if (last == before.npos)
        return 0;
    const std::size_t blank = before.substr(0, last).find_last_of(" \n");
    return blank == before.npos ? 0 : blank + 1;
}

} // namespace tarnel
