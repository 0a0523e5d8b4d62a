#include "tarnel/StyledRow.h"
#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>

namespace tarnel {

namespace {

/// The bytes at the start of `word` that fit in `cells`, at least one character.
std::size_t fittingLength(std::string_view word, std::size_t cells)
{
    std::size_t length = 0;
    for (std::size_t used = 0; length < word.size();) {
        const std::size_t next = Text::firstCharacterLength(word.substr(length));
        used += TerminalText::width(word.substr(length, next));
        if (used > cells && length > 0)
            break;
        length += next;
    }
    return length;
}

void wrapLine(std::string_view line, std::size_t cells, std::vector<std::string>& lines)
{
    const std::size_t blanks = std::min(line.find_first_not_of(' '), line.size());
    const std::string indent(std::min(blanks, cells / 2), ' ');
    const std::size_t room = cells - indent.size();
    std::string current;
    const std::string plain = TerminalText::plainLine(line);
    for (std::string_view word : Text::splitNonEmpty(plain, ' ')) {
        if (!current.empty() && TerminalText::width(current) + 1 + TerminalText::width(word) <= room) {
            current.append(" ").append(word);
            continue;
        }
        if (!current.empty())
            lines.push_back(indent + current);
        while (TerminalText::width(word) > room) {
            const std::size_t length = fittingLength(word, room);
            lines.push_back(indent + TerminalText::cut(word.substr(0, length), room)); // cut: one wide character
            word.remove_prefix(length);
        }
        current = word;
    }
    if (!current.empty())
        lines.push_back(indent + current);
    else if (plain.empty() && !lines.empty() && !lines.back().empty())
        lines.emplace_back();
}

} // namespace

StyledRow& StyledRow::add(std::string text, Paint paint)
{
    if (!text.empty())
        spans.push_back({std::move(text), paint});
    return *this;
}

StyledRow& StyledRow::add(const StyledRow& row)
{
    spans.insert(spans.end(), row.spans.begin(), row.spans.end());
    return *this;
}

std::size_t StyledRow::width() const
{
    std::size_t cells = 0;
    for (const StyledSpan& span : spans)
        cells += TerminalText::width(span.text);
    return cells;
}

std::string StyledRow::text() const
{
    std::string all;
    for (const StyledSpan& span : spans)
        all += span.text;
    return all;
}

StyledRow StyledRow::cut(std::size_t cells) const
{
    if (width() <= cells)
        return *this;
    StyledRow row;
    std::size_t left = cells;
    for (const StyledSpan& span : spans) {
        const std::size_t needed = TerminalText::width(span.text);
        if (needed < left) {
            row.spans.push_back(span);
            left -= needed;
            continue;
        }
        // Something follows or this is too long: either way the ellipsis goes here.
        StyledSpan last = span;
        last.text = TerminalText::cut(span.text + "  ", left);
        if (!last.text.empty())
            row.spans.push_back(std::move(last));
        break;
    }
    return row;
}

StyledRow StyledRow::padded(std::size_t cells) const
{
    StyledRow row = cut(cells);
    return row.add(std::string(cells - std::min(cells, row.width()), ' '));
}

StyledRow StyledRow::selected() const
{
    StyledRow row = *this;
    for (StyledSpan& span : row.spans)
        span.isSelected = true;
    return row;
}

std::vector<std::string> wrappedLines(std::string_view text, std::size_t cells)
{
    std::vector<std::string> lines;
    if (cells == 0)
        return lines;
    for (const std::string_view line : Text::split(text, '\n'))
        wrapLine(line, cells, lines);
    while (!lines.empty() && lines.back().empty())
        lines.pop_back();
    return lines;
}

} // namespace tarnel
