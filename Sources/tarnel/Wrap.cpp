#include "tarnel/Wrap.h"
#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>

namespace tarnel {

namespace {

/// The bytes of the longest start of `line` that fits, at least one character.
std::size_t fittingLength(std::string_view line, std::size_t cells)
{
    std::size_t length = 0;
    for (std::size_t used = 0; length < line.size();) {
        const std::size_t next = Text::firstCharacterLength(line.substr(length));
        used += TerminalText::width(line.substr(length, next));
        if (used > cells && length > 0)
            break;
        length += next;
    }
    return length;
}

void wrapLine(std::string_view line, std::size_t cells, std::vector<std::string>& lines)
{
    line = line.substr(0, line.find_last_not_of(' ') + 1);
    do {
        std::size_t length = fittingLength(line, cells);
        if (length < line.size() && line[length] != ' ') {
            const std::size_t blank = line.substr(0, length).rfind(' ');
            const bool isIndent = blank == line.npos || line.find_first_not_of(' ') > blank;
            length = isIndent ? length : blank;
        }
        std::string_view piece = line.substr(0, length);
        piece = piece.substr(0, piece.find_last_not_of(' ') + 1);
        lines.emplace_back(piece);
        line.remove_prefix(length);
        line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    } while (!line.empty());
}

} // namespace

std::vector<std::string> wrapped(std::string_view text, std::size_t cells)
{
    const std::string plain = TerminalText::plainText(text);
    std::vector<std::string> lines;
    for (const std::string_view line : Text::split(plain, '\n'))
        wrapLine(line, std::max<std::size_t>(cells, 1), lines);
    while (!lines.empty() && lines.back().empty())
        lines.pop_back();
    lines.erase(
        lines.begin(), std::find_if(lines.begin(), lines.end(), [](const std::string& each) { return !each.empty(); }));
    return lines;
}

std::vector<std::string> labelled(std::string_view label, std::string_view text, std::size_t cells)
{
    const std::size_t indent = TerminalText::width(label);
    std::vector<std::string> lines = wrapped(text, cells - std::min(cells, indent));
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::string start = i == 0 ? std::string(label) : lines[i].empty() ? "" : std::string(indent, ' ');
        lines[i].insert(0, start);
    }
    return lines;
}

} // namespace tarnel
