// Demo/Drawing.h: pieces of the agents' screens.
#pragma once
#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace demo {

using Lines = std::vector<std::string>;

constexpr std::string_view braille[] = {"⠋", "⠙", "⠹", "⠸", "⠼", "⠴", "⠦", "⠧", "⠇", "⠏"};

std::string bold(std::string_view text);
std::string faint(std::string_view text);
/// In a colour of the terminal's palette, 0 to 15.
std::string colored(std::string_view text, int color);

/// The cells of `text`, which may hold colours; every character counts as one cell.
std::size_t cells(std::string_view text);

/// `text` repeated `count` times.
std::string repeated(std::string_view text, std::size_t count);

/// `content` in a box as wide as the screen, in a colour of the palette; lines that are too long are cut.
Lines boxed(const Lines& content, std::size_t columns, int color);

/// Numbered options with the marker on the selected one.
Lines menu(const std::vector<std::string>& options, std::size_t selected, std::string_view marker);

/// The picture of `frames` that is due after `age`.
template <std::size_t count>
std::string_view frame(const std::string_view (&frames)[count], std::chrono::milliseconds age)
{
    return frames[static_cast<std::size_t>(age.count() / 120) % count];
}

void append(Lines& lines, const Lines& more);

} // namespace demo
