// tarnel/Commands.h: the sub-commands, each in a file of its own.
#pragma once
#include "tarnel/CommandLine.h"

namespace CLI {
class App;
}

namespace tarnel {

void addQueueCommand(CLI::App& app, CommandLine& line);
void addWatchCommand(CLI::App& app, CommandLine& line);
void addNextCommand(CLI::App& app, CommandLine& line);
void addShowCommand(CLI::App& app, CommandLine& line);
void addLogCommand(CLI::App& app, CommandLine& line);
void addScreenCommand(CLI::App& app, CommandLine& line);
void addSearchCommand(CLI::App& app, CommandLine& line);
void addAnswerCommand(CLI::App& app, CommandLine& line);
void addPromptCommand(CLI::App& app, CommandLine& line);
void addAttachCommand(CLI::App& app, CommandLine& line);
void addTopCommand(CLI::App& app, CommandLine& line);
void addCallCommand(CLI::App& app, CommandLine& line);
void addEventsCommand(CLI::App& app, CommandLine& line);
void addConfigCommand(CLI::App& app, CommandLine& line);
void addDoctorCommand(CLI::App& app, CommandLine& line);
void addCompletionCommand(CLI::App& app, CommandLine& line);

} // namespace tarnel
