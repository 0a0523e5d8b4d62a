// Demo/CodexScreens.h: Codex's screens, and what happens when they are answered.
#pragma once
#include "Demo/Screen.h"
#include <string>

namespace demo::codex {

/// As for Claude: each writes the record so far and returns the screen at which the session stands.
Screen::Next question(const std::string& session);
Screen::Next error(const std::string& session);

} // namespace demo::codex
