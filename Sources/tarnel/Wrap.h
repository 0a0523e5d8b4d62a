// tarnel/Wrap.h: text broken into lines that fit the terminal.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// `text` as safe lines of at most `cells` (at least 1) cells, broken between words where that is possible and in front
/// of a word that would not fit; line breaks and the blanks at a line's start stay, those that a break falls on go.
/// Blank lines at both ends are left out. Pure.
std::vector<std::string> wrapped(std::string_view text, std::size_t cells);

/// The same with `label` before the first line and as many blanks before the others; each line at most `cells` cells.
std::vector<std::string> labelled(std::string_view label, std::string_view text, std::size_t cells);

} // namespace tarnel
