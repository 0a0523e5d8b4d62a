// muxle-tmux/PaneInput.h: types into panes.
#pragma once
#include "muxle-tmux/Monitor.h"
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Input reaches the program in the pane also while its user looks back through its history, and leaves the user there.
/// All throw TmuxError; when they do, nothing was typed unless the connection was lost meanwhile.
namespace tarnel::tmux::PaneInput {

/// Presses keys by the names that `keyNamed` knows. One that is not known: invalidParams, and no key is pressed.
void sendKeys(Monitor& monitor, std::int64_t pane, const std::vector<std::string>& names, Monitor::Deadline deadline);

/// Types `text` byte for byte. It must hold no NUL.
void sendText(Monitor& monitor, std::int64_t pane, std::string_view text, Monitor::Deadline deadline);

/// Pastes `text` in one piece, marked as pasted for programs that ask for that, and presses enter once the program has
/// taken it. Control characters other than tabs and line breaks are left out: they could end the paste.
void prompt(Monitor& monitor, std::int64_t pane, std::string_view text, Monitor::Deadline deadline);

/// What is pasted of a prompt. Pure.
std::string pastable(std::string_view text);

} // namespace tarnel::tmux::PaneInput
