// tarnel/AttachCommand.h: `tarnel attach`: a pane's live terminal, to watch and to type into.
#pragma once
#include "tarnel/CommandLine.h"

namespace tarnel {

void addAttachCommand(CLI::App& app, CommandLine& line);

} // namespace tarnel
