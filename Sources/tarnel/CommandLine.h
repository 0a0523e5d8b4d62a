// tarnel/CommandLine.h: what the command line says, and how a sub-command joins it.
#pragma once
#include <CLI/CLI.hpp>
#include <functional>
#include <string>

namespace tarnel {

/// The process's exit statuses.
enum class ExitStatus {
    success = 0,
    failure = 1,
    usage = 2, ///< The command line makes no sense.
    unreachable = 3, ///< No daemon answers.
};

/// The outcome of parsing. A sub-command's `add` function declares its options on the application and, when the user
/// names the sub-command, sets `run` to what carries it out; whatever that throws is told to the user in one line.
struct CommandLine {
    std::string socketPath; ///< Of the daemon. Known by the time that `run` is called, not before.
    std::function<ExitStatus()> run;
};

} // namespace tarnel
