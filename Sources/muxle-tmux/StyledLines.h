// muxle-tmux/StyledLines.h: text with colours, of which every line can stand alone.
#pragma once
#include <string>
#include <string_view>

namespace tarnel::tmux {

/// `text`, whose SGR sequences go on from line to line as tmux writes them, with each line starting with the colours
/// and attributes that the lines before have left on. Pure. The codes: ECMA-48, 8.3.117, and xterm's additions.
std::string withOwnStyles(std::string_view text);

} // namespace tarnel::tmux
