// muxle-tmux/Keys.h: the names of keys, as clients and as tmux know them.
#pragma once
#include <optional>
#include <string>
#include <string_view>

namespace tarnel::tmux {

struct Key {
    std::string tmuxName; ///< For `send-keys`.
    std::string bytes; ///< What a terminal sends for it, its cursor keys in normal mode.
    char applicationFinal = 0; ///< A cursor key's letter, which follows "ESC O" in application mode; else 0.
};

/// The key that a client means: "enter", "esc", "tab", "space", "backspace", "delete", "insert", "home", "end",
/// "pageup", "pagedown", "up", "down", "left", "right", "f1" to "f12" or a single character, after any of "ctrl+",
/// "alt+" and "shift+" that a terminal can tell. Names in any case, characters as they are. Nothing for others. Pure.
std::optional<Key> keyNamed(std::string_view name);

} // namespace tarnel::tmux
