// TarnelCore/Base/TerminalText.h: text that is safe to write to a terminal, and the cells it takes there.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>

/// Pure functions over UTF-8. A "cell" is one column of a terminal's grid. Thread-safe.
namespace tarnel::TerminalText {

/// `text` as one line of plain words: without escape sequences, control characters (C0 and C1) and the marks that
/// reorder bidirectional text; with every run of white space, line breaks included, as one space and none at the ends.
/// Bytes that are not UTF-8 become U+FFFD.
std::string plainLine(std::string_view text);

/// `text` with its lines and its spacing as they are, but as safe as a plain line: escape sequences, other control
/// characters and the marks that reorder bidirectional text are gone, tabs are filled up to the next eighth cell.
/// Any line break becomes a line feed.
std::string plainText(std::string_view text);

/// The cells of one line of plain words. Wide characters take two, combining marks none.
std::size_t width(std::string_view line);

/// The start of `line` that fits in `cells`, ended by "…" when anything is left out. Never cuts a character.
std::string cut(std::string_view line, std::size_t cells);

/// `cut`, filled up with spaces to exactly `cells`.
std::string padded(std::string_view line, std::size_t cells);

} // namespace tarnel::TerminalText
