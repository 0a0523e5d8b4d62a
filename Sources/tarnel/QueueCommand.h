// tarnel/QueueCommand.h: `tarnel queue`: prints who waits for the user.
#pragma once
#include "tarnel/CommandLine.h"

namespace tarnel {

void addQueueCommand(CLI::App& app, CommandLine& line);

} // namespace tarnel
