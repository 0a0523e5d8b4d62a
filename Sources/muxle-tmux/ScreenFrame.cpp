#include "muxle-tmux/ScreenFrame.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <array>
#include <charconv>

namespace tarnel::tmux {

namespace {

std::string mode(std::string_view number, bool isSet)
{
    return std::string("\033[?").append(number).append(isSet ? "h" : "l");
}

std::string place(std::int64_t row, std::int64_t column)
{
    return "\033[" + std::to_string(row) + ";" + std::to_string(column) + "H";
}

} // namespace

std::string_view ScreenFrame::format()
{
    return "#{pane_width} #{pane_height} #{cursor_x} #{cursor_y} #{scroll_region_upper} #{scroll_region_lower} "
           "#{?alternate_on,1,0} #{?cursor_flag,1,0} #{?insert_flag,1,0} #{?wrap_flag,1,0} #{?origin_flag,1,0} "
           "#{?keypad_cursor_flag,1,0} #{?keypad_flag,1,0} #{s/[$]//:session_id}";
}

std::optional<ScreenState> ScreenFrame::parse(std::string_view text)
{
    std::array<std::int64_t, 14> values{};
    const auto words = Text::splitNonEmpty(text, ' ');
    if (words.size() != values.size())
        return std::nullopt;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const auto [end, error] = std::from_chars(words[i].data(), words[i].data() + words[i].size(), values[i]);
        if (error != std::errc() || end != words[i].data() + words[i].size())
            return std::nullopt;
    }
    return ScreenState{.width = values[0],
        .height = values[1],
        .cursorX = values[2],
        .cursorY = values[3],
        .regionTop = values[4],
        .regionBottom = values[5],
        .isAlternate = values[6] != 0,
        .hasCursor = values[7] != 0,
        .inserts = values[8] != 0,
        .wraps = values[9] != 0,
        .hasOrigin = values[10] != 0,
        .hasApplicationCursor = values[11] != 0,
        .hasApplicationKeypad = values[12] != 0,
        .session = values[13]};
}

std::string ScreenFrame::redraw(const ScreenState& state, std::string_view screen, std::string_view unfinished)
{
    // Nothing that an earlier frame has set may be in the way of drawing.
    std::string bytes = "\033[0m\033(B\033[r\033[4l" + mode("6", false) + mode("7", true)
        + mode("1049", state.isAlternate) + "\033[H\033[2J";
    std::int64_t row = 0;
    for (const std::string_view line : Text::split(screen, '\n')) {
        if (++row > state.height)
            break;
        if (!line.empty())
            bytes.append(place(row, 1)).append(line); // colours go on from line to line
    }
    bytes += "\033[0m";
    if (state.regionTop > 0 || state.regionBottom < state.height - 1)
        bytes += "\033[" + std::to_string(state.regionTop + 1) + ";" + std::to_string(state.regionBottom + 1) + "r";
    bytes += mode("6", state.hasOrigin) + mode("7", state.wraps) + (state.inserts ? "\033[4h" : "")
        + mode("1", state.hasApplicationCursor) + (state.hasApplicationKeypad ? "\033=" : "\033>")
        + mode("25", state.hasCursor);
    bytes +=
        place(state.cursorY + 1 - (state.hasOrigin ? state.regionTop : 0), std::min(state.cursorX + 1, state.width));
    return bytes.append(unfinished);
}

bool ScreenFrame::switchesScreen(std::string_view output)
{
    for (const std::string_view sequence : {"\033[?1049", "\033[?1047", "\033[?47", "\033c"}) {
        if (output.find(sequence) != output.npos)
            return true;
    }
    return false;
}

} // namespace tarnel::tmux
