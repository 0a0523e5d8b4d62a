// tarnel/Program.h: the program as a whole.
#pragma once
#include "tarnel/CommandLine.h"

namespace CLI {
class App;
}

namespace tarnel {

/// Declares the shared options and every sub-command. `line` takes what is parsed, and outlives `app`.
void declare(CLI::App& app, CommandLine& line);

/// Parses the command line and carries it out; returns the exit status.
int runProgram(int count, char** words);

} // namespace tarnel
