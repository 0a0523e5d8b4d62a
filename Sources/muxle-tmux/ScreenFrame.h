// muxle-tmux/ScreenFrame.h: the bytes that bring a terminal to show what a pane shows.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel::tmux {

/// What tmux tells of a pane's terminal beside its text.
struct ScreenState {
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::int64_t cursorX = 0; ///< From 0; the width itself when the next character wraps.
    std::int64_t cursorY = 0;
    std::int64_t regionTop = 0; ///< The first and the last line that scroll.
    std::int64_t regionBottom = 0;
    bool isAlternate = false;
    bool hasCursor = true;
    bool inserts = false;
    bool wraps = true;
    bool hasOrigin = false; ///< The cursor is placed within the region.
    bool hasApplicationCursor = false;
    bool hasApplicationKeypad = false;
    std::int64_t session = 0; ///< One that shows the pane.
    bool operator==(const ScreenState&) const = default;
};

/// Pure.
namespace ScreenFrame {

/// A tmux format whose expansion `parse` reads.
std::string_view format();
std::optional<ScreenState> parse(std::string_view text);

/// Redraws a terminal of the pane's size: modes, the lines of `screen` with their colours, the cursor, and then
/// `unfinished`, the start of a control sequence that the program has not written whole yet.
std::string redraw(const ScreenState& state, std::string_view screen, std::string_view unfinished);

/// Whether output changes between the terminal's two screens, one of which a viewer that came later has never seen.
bool switchesScreen(std::string_view output);

} // namespace ScreenFrame

} // namespace tarnel::tmux
