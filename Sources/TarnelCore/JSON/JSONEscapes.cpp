#include "TarnelCore/JSON/JSONEscapes.h"
#include "TarnelCore/JSON/WideBlock.h"
#include <algorithm>
#include <array>
#include <cstdint>

namespace tarnel::JSONEscapes {

namespace {

/// By the character behind the backslash: what a short escape stands for; 0 for another character.
constexpr auto shortEscapes = [] {
    std::array<char, 256> table{};
    table['"'] = '"';
    table['\\'] = '\\';
    table['/'] = '/';
    table['b'] = '\b';
    table['f'] = '\f';
    table['n'] = '\n';
    table['r'] = '\r';
    table['t'] = '\t';
    return table;
}();

char shortEscape(char c) { return shortEscapes[static_cast<unsigned char>(c)]; }

constexpr std::uint32_t noUnit = 0x10000;

/// The value of the four hexadecimal digits at `digits`, or `noUnit`.
std::uint32_t unitAt(const char* digits)
{
    std::uint32_t unit = 0;
    for (int i = 0; i < 4; ++i) {
        const auto c = static_cast<unsigned char>(digits[i]);
        const auto letter = static_cast<unsigned char>(c | 0x20);
        if (c >= '0' && c <= '9')
            unit = unit * 16 + c - '0';
        else if (letter >= 'a' && letter <= 'f')
            unit = unit * 16 + letter - 'a' + 10;
        else
            return noUnit;
    }
    return unit;
}

bool isHighSurrogate(std::uint32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isLowSurrogate(std::uint32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

char* appendScalar(std::uint32_t scalar, char* out)
{
    const auto lead = [&](std::uint32_t mark, unsigned shift) { *out++ = static_cast<char>(mark | (scalar >> shift)); };
    const auto next = [&](unsigned shift) { *out++ = static_cast<char>(0x80 | ((scalar >> shift) & 0x3F)); };
    if (scalar < 0x80) {
        lead(0, 0);
    } else if (scalar < 0x800) {
        lead(0xC0, 6);
        next(0);
    } else if (scalar < 0x10000) {
        lead(0xE0, 12);
        next(6);
        next(0);
    } else {
        lead(0xF0, 18);
        next(12);
        next(6);
        next(0);
    }
    return out;
}

/// Appends what the "\u" escape at `escape` stands for, with the low half of a pair behind it. Returns its length.
std::size_t unescapeUnit(const char* escape, const char* end, char*& out)
{
    std::uint32_t unit = unitAt(escape + 2);
    std::size_t length = 6;
    if (isHighSurrogate(unit) && end - escape >= 12 && escape[6] == '\\' && escape[7] == 'u') {
        if (const std::uint32_t low = unitAt(escape + 8); isLowSurrogate(low)) {
            unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
            length = 12;
        }
    }
    const bool isLone = isHighSurrogate(unit) || isLowSurrogate(unit);
    out = appendScalar(isLone ? 0xFFFD : unit, out);
    return length;
}

} // namespace

bool areWellFormed(std::string_view text)
{
    // Of backslashes in a row, every other one is escaped by the one before it. When their number is odd, the last one
    // escapes what comes behind them. Whether it is odd shows in whether they start and end at even positions.
    constexpr std::uint64_t even = 0x5555555555555555;
    std::uint64_t isEscaped = 0; // the first byte of the next block
    for (std::size_t begin = 0; begin < text.size(); begin += WideBlock::size) {
        const char* const bytes = text.data() + begin;
        const WideBlock block(bytes);
        const std::size_t left = text.size() - begin;
        if (isEscaped == 0 && !block.has('\\'))
            continue;
        std::uint64_t backslashes = block.positionsOf('\\') & ~isEscaped;
        if (left < WideBlock::size)
            backslashes &= (std::uint64_t{1} << left) - 1;
        const std::uint64_t starts = backslashes & ~(backslashes << 1);
        // Adding a row's start to it carries a bit to the place behind its end.
        const std::uint64_t endsOfEven = (backslashes + (starts & even)) & ~backslashes;
        const std::uint64_t endsOfOdd = (backslashes + (starts & ~even)) & ~backslashes;
        const std::uint64_t escaped = (endsOfEven & ~even) | (endsOfOdd & even) | isEscaped;
        isEscaped = static_cast<std::uint64_t>(std::countl_one(backslashes)) & 1;
        // What comes behind an escape's beginning stands in the text: it ends with a string's quote or later.
        for (std::uint64_t rare = escaped & ~block.positionsOf('n', '"', '\\'); rare != 0; rare &= rare - 1) {
            const char* const kind = bytes + std::countr_zero(rare);
            if (shortEscape(*kind) == 0 && (*kind != 'u' || unitAt(kind + 1) == noUnit))
                return false;
        }
    }
    return true;
}

char* unescape(std::string_view string, char* out)
{
    const char* from = string.data();
    const char* const end = from + string.size();
    while (from < end) {
        // The block's backslashes are sought once; bit i is that of the byte at from + i.
        const char* const blockEnd = from + WideBlock::size;
        std::uint64_t backslashes = WideBlock(from).positionsOf('\\');
        while (from < blockEnd) {
            const auto plain = std::min<std::ptrdiff_t>(std::countr_zero(backslashes), blockEnd - from);
            WideBlock(from).copyTo(out);
            if (from + plain >= end)
                return out + (end - from);
            if (backslashes == 0) {
                out += blockEnd - from;
                from = blockEnd;
                break;
            }
            from += plain;
            out += plain;
            std::size_t length = 2;
            if (from[1] == 'u')
                length = unescapeUnit(from, end, out);
            else
                *out++ = shortEscape(from[1]);
            from += length;
            backslashes = backslashes >> plain >> length;
        }
    }
    return out;
}

} // namespace tarnel::JSONEscapes
