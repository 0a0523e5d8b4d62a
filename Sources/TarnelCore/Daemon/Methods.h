// TarnelCore/Daemon/Methods.h: the handlers of the method table, grouped by what they look at.
#pragma once
#include "TarnelCore/Daemon/MethodTable.h"
#include <string>

/// Each reads its parameters, does what its name says and returns the JSON text of the result. They throw DaemonError for
/// what is missing or not there, and pass on what the multiplexer throws.
namespace tarnel::Methods {

// The machine as a whole: MachineMethods.cpp
std::string ping(DaemonServices& services, const Params& params);
std::string snapshot(DaemonServices& services, const Params& params);
std::string queue(DaemonServices& services, const Params& params);
std::string next(DaemonServices& services, const Params& params);

// The agents' records: RecordMethods.cpp
std::string conversation(DaemonServices& services, const Params& params);
std::string search(DaemonServices& services, const Params& params);
std::string card(DaemonServices& services, const Params& params);
std::string commands(DaemonServices& services, const Params& params);

// One pane, and the multiplexer itself: PaneMethods.cpp
std::string screen(DaemonServices& services, const Params& params);
std::string prompt(DaemonServices& services, const Params& params);
std::string input(DaemonServices& services, const Params& params);
std::string keys(DaemonServices& services, const Params& params);
std::string focus(DaemonServices& services, const Params& params);
std::string muxle(DaemonServices& services, const Params& params);

// Answers, attachments, shell commands and drafts: ActionMethods.cpp
std::string answer(DaemonServices& services, const Params& params);
std::string attach(DaemonServices& services, const Params& params);
std::string runCommand(DaemonServices& services, const Params& params);
std::string agentPrompt(DaemonServices& services, const Params& params);

} // namespace tarnel::Methods
