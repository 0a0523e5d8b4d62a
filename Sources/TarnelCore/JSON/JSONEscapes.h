// TarnelCore/JSON/JSONEscapes.h: the backslash escapes in the strings of JSON texts.
#pragma once
#include "TarnelCore/JSON/WideBlock.h"
#include <cstddef>
#include <string_view>

namespace tarnel {

/// Pure functions. Both look at blocks of 64 bytes: as many must be readable behind what they are given, whatever they
/// hold.
namespace JSONEscapes {

/// Whether every backslash in `text`, a whole JSON text in which no string is left open, starts an escape.
bool areWellFormed(std::string_view text);

/// Whether `string`, the inside of a JSON string, has an escape.
inline bool isIn(std::string_view string)
{
    for (std::size_t begin = 0; begin < string.size(); begin += WideBlock::size) {
        const WideBlock block(string.data() + begin);
        const std::size_t left = string.size() - begin;
        if (block.has('\\')
            && (left >= WideBlock::size || (block.positionsOf('\\') & ((std::uint64_t{1} << left) - 1)) != 0))
            return true;
    }
    return false;
}

/// Writes what `string`, the inside of a JSON string with well-formed escapes, stands for: never more bytes than it
/// has. The escape of a lone surrogate stands for U+FFFD. Returns the end of what was written; the 64 bytes behind it
/// may be overwritten.
char* unescape(std::string_view string, char* out);

} // namespace JSONEscapes

} // namespace tarnel
