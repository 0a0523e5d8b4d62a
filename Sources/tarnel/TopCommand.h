// tarnel/TopCommand.h: `tarnel top`: the queue and its cards over the whole screen, to be answered there.
#pragma once
#include "tarnel/CommandLine.h"

namespace tarnel {

void addTopCommand(CLI::App& app, CommandLine& line);

} // namespace tarnel
