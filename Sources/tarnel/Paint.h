// tarnel/Paint.h: colours and weights of text, from the terminal's own palette.
#pragma once
#include <string>
#include <string_view>

namespace tarnel {

enum class Paint { none, bold, dim, red, green, yellow, blue, magenta };

/// `text` with `paint` around it; as it is when colours are not wanted or there is nothing to paint.
inline std::string painted(std::string_view text, Paint paint, bool hasColor)
{
    constexpr std::string_view codes[] = {"", "1", "2", "1;31", "32", "1;33", "1;34", "1;35"};
    const std::string_view code = codes[static_cast<std::size_t>(paint)];
    if (!hasColor || code.empty() || text.empty())
        return std::string(text);
    return "\x1b[" + std::string(code) + "m" + std::string(text) + "\x1b[0m";
}

} // namespace tarnel
