// tarnel/WatchCommand.h: `tarnel watch`: keeps the queue's table current.
#pragma once
#include "tarnel/CommandLine.h"

namespace tarnel {

void addWatchCommand(CLI::App& app, CommandLine& line);

} // namespace tarnel
