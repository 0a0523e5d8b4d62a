// Demo/Terminal.h: shows screens on the terminal and passes keys to them.
#pragma once
#include "Demo/Screen.h"
#include <memory>

namespace demo {

/// Shows `screen` and what follows it until the process is asked to end, then leaves the terminal as it was. Blocks.
void show(std::unique_ptr<Screen> screen);

} // namespace demo
