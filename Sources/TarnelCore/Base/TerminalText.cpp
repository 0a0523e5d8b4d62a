#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <utf8proc.h>

namespace tarnel::TerminalText {

namespace {

constexpr char32_t escape = 0x1B;
constexpr char32_t bell = 0x07;
constexpr char32_t stringTerminator = 0x9C; // as one C1 control; ESC \ otherwise
constexpr char32_t emojiVariation = 0xFE0F; // asks for the coloured, wide form of the character before it
constexpr std::string_view ellipsis = "…";

bool isControl(char32_t scalar) { return scalar < 0x20 || (scalar >= 0x7F && scalar < 0xA0); }

bool isBidirectionalMark(char32_t scalar)
{
    return scalar == 0x061C || scalar == 0x200E || scalar == 0x200F || (scalar >= 0x202A && scalar <= 0x202E)
        || (scalar >= 0x2066 && scalar <= 0x2069);
}

/// The introducer of a sequence in its one-character C1 form, whether it was written so or as ESC and a letter.
struct Introducer {
    char32_t control = 0;
    std::size_t length = 0;
};

Introducer introducer(std::string_view text)
{
    const Text::Scalar first = Text::firstScalar(text);
    if (first.value != escape)
        return {first.value, first.length};
    if (text.size() > 1 && text[1] >= '@' && text[1] <= '_')
        return {static_cast<char32_t>(text[1]) + 0x40, 2};
    return {escape, 1};
}

/// The length of the parameters, intermediates and final byte after a CSI; what breaks its form is left to stand.
std::size_t controlSequenceLength(std::string_view text)
{
    std::size_t length = 0;
    const auto skip = [&](char from, char to) {
        while (length < text.size() && text[length] >= from && text[length] <= to)
            ++length;
    };
    skip('0', '?');
    skip(' ', '/');
    const bool hasFinal = length < text.size() && text[length] >= '@' && text[length] <= '~';
    return length + (hasFinal ? 1 : 0);
}

/// The length of a command string with its terminator; 0 when it is never ended, so that no text is lost to it.
std::size_t commandStringLength(std::string_view text)
{
    for (std::size_t length = 0; length < text.size();) {
        const Introducer at = introducer(text.substr(length));
        length += at.length;
        if (at.control == stringTerminator || at.control == bell)
            return length;
        if (at.control == escape)
            return 0;
    }
    return 0;
}

/// The length of the control character, or of the whole sequence that it starts, at the start of `text`.
std::size_t controlLength(std::string_view text)
{
    const Introducer first = introducer(text);
    const std::string_view rest = text.substr(first.length);
    switch (first.control) {
    case 0x9B: // CSI
        return first.length + controlSequenceLength(rest);
    case 0x90: // DCS
    case 0x98: // SOS
    case 0x9D: // OSC
    case 0x9E: // PM
    case 0x9F: // APC
        return first.length + commandStringLength(rest);
    case escape: { // intermediates and one final byte
        std::size_t length = 0;
        while (length < rest.size() && rest[length] >= ' ' && rest[length] <= '/')
            ++length;
        const bool hasFinal = length < rest.size() && rest[length] >= '0' && rest[length] <= '~';
        return first.length + (hasFinal ? length + 1 : 0);
    }
    default:
        return first.length;
    }
}

std::size_t scalarWidth(char32_t scalar)
{
    return static_cast<std::size_t>(std::max(0, utf8proc_charwidth(static_cast<utf8proc_int32_t>(scalar))));
}

/// The cells of one character. A joined sequence is drawn as one wide character.
std::size_t characterWidth(std::string_view character)
{
    std::size_t cells = 0;
    while (!character.empty()) {
        const Text::Scalar scalar = Text::firstScalar(character);
        cells += scalar.value == emojiVariation ? 1 : scalarWidth(scalar.value);
        character.remove_prefix(scalar.length);
    }
    return std::min<std::size_t>(cells, 2);
}

} // namespace

std::string plainLine(std::string_view text)
{
    std::string line;
    bool needsSpace = false;
    while (!text.empty()) {
        const Text::Scalar scalar = Text::firstScalar(text);
        if (Text::isWhitespace(scalar.value)) {
            needsSpace = !line.empty();
            text.remove_prefix(scalar.length);
        } else if (isControl(scalar.value)) {
            text.remove_prefix(controlLength(text));
        } else {
            text.remove_prefix(scalar.length);
            if (isBidirectionalMark(scalar.value))
                continue;
            if (needsSpace)
                line += ' ';
            needsSpace = false;
            Text::append(line, scalar.value);
        }
    }
    return line;
}

std::string plainText(std::string_view text)
{
    constexpr std::size_t tabStop = 8;
    std::string plain;
    std::size_t lineStart = 0;
    while (!text.empty()) {
        const Text::Scalar scalar = Text::firstScalar(text);
        const bool isLineBreak = scalar.value == '\n' || text.starts_with("\r\n");
        if (isLineBreak) {
            text.remove_prefix(scalar.value == '\r' ? 2 : 1);
            plain += '\n';
            lineStart = plain.size();
        } else if (scalar.value == '\t') {
            text.remove_prefix(1);
            plain.append(tabStop - width(std::string_view(plain).substr(lineStart)) % tabStop, ' ');
        } else if (isControl(scalar.value)) {
            text.remove_prefix(controlLength(text));
        } else {
            text.remove_prefix(scalar.length);
            if (!isBidirectionalMark(scalar.value))
                Text::append(plain, scalar.value);
        }
    }
    return plain;
}

std::size_t width(std::string_view line)
{
    std::size_t cells = 0;
    while (!line.empty()) {
        const std::size_t length = Text::firstCharacterLength(line);
        cells += characterWidth(line.substr(0, length));
        line.remove_prefix(length);
    }
    return cells;
}

std::string cut(std::string_view line, std::size_t cells)
{
    std::size_t taken = 0; // bytes that fit with the ellipsis behind them
    std::size_t reached = 0; // bytes that fit alone
    for (std::size_t used = 0; reached < line.size();) {
        const std::size_t length = Text::firstCharacterLength(line.substr(reached));
        used += characterWidth(line.substr(reached, length));
        if (used > cells)
            return cells == 0 ? std::string() : std::string(line.substr(0, taken)) + std::string(ellipsis);
        reached += length;
        if (used < cells)
            taken = reached;
    }
    return std::string(line);
}

std::string padded(std::string_view line, std::size_t cells)
{
    std::string text = cut(line, cells);
    text.append(cells - std::min(cells, width(text)), ' ');
    return text;
}

} // namespace tarnel::TerminalText
