// Demo/ClaudeScreens.h: Claude's screens, and what happens when they are answered.
#pragma once
#include "Demo/Screen.h"
#include <string>

namespace demo::claude {

/// Each writes the session's record so far and returns the screen at which the session stands. The answers that the
/// screen takes go on to write the record and lead to the screens that follow.
Screen::Next permission(const std::string& session);
Screen::Next plan(const std::string& session);
Screen::Next question(const std::string& session);
Screen::Next folded(const std::string& session); // the same question, folded away until alt+up
Screen::Next finished(const std::string& session);
Screen::Next working(const std::string& session);

} // namespace demo::claude
