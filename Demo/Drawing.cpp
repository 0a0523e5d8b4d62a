#include "Demo/Drawing.h"
#include <algorithm>

namespace demo {

namespace {

/// The bytes of the colour sequence or character at the start of `text`, and whether it takes a cell.
std::pair<std::size_t, bool> piece(std::string_view text)
{
    if (text.front() == '\x1b')
        return {std::min(text.size(), text.find('m') + 1), false};
    std::size_t length = 1;
    while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80)
        ++length;
    return {length, true};
}

std::string cut(std::string_view text, std::size_t room)
{
    std::string kept;
    while (!text.empty()) {
        const auto [length, takesCell] = piece(text);
        if (!takesCell || room > 0)
            kept += text.substr(0, length);
        room -= takesCell && room > 0 ? 1 : 0;
        text.remove_prefix(length);
    }
    return kept;
}

std::string styled(std::string_view text, std::string_view on, std::string_view off)
{
    return "\x1b[" + std::string(on) + "m" + std::string(text) + "\x1b[" + std::string(off) + "m";
}

} // namespace

std::string bold(std::string_view text) { return styled(text, "1", "22"); }
std::string faint(std::string_view text) { return styled(text, "2", "22"); }
std::string colored(std::string_view text, int color)
{
    return styled(text, std::to_string(color < 8 ? 30 + color : 82 + color), "39");
}

std::size_t cells(std::string_view text)
{
    std::size_t count = 0;
    while (!text.empty()) {
        const auto [length, takesCell] = piece(text);
        count += takesCell ? 1 : 0;
        text.remove_prefix(length);
    }
    return count;
}

std::string repeated(std::string_view text, std::size_t count)
{
    std::string result;
    for (std::size_t i = 0; i < count; ++i)
        result += text;
    return result;
}

Lines boxed(const Lines& content, std::size_t columns, int color)
{
    const std::size_t inner = std::max<std::size_t>(columns, 10) - 4;
    Lines lines{colored("╭" + repeated("─", inner + 2) + "╮", color)};
    for (const std::string& line : content) {
        const std::string fitting = cut(line, inner);
        lines.push_back(
            colored("│", color) + " " + fitting + std::string(inner - cells(fitting), ' ') + " " + colored("│", color));
    }
    lines.push_back(colored("╰" + repeated("─", inner + 2) + "╯", color));
    return lines;
}

Lines menu(const std::vector<std::string>& options, std::size_t selected, std::string_view marker)
{
    Lines lines;
    for (std::size_t i = 0; i < options.size(); ++i) {
        const std::string text = std::to_string(i + 1) + ". " + options[i];
        lines.push_back(i == selected ? colored(std::string(marker) + " " + text, 6) : "  " + text);
    }
    return lines;
}

void append(Lines& lines, const Lines& more) { lines.insert(lines.end(), more.begin(), more.end()); }

} // namespace demo
