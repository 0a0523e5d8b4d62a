// tarnel/CommandLine.h: what the command line says, and how a sub-command ends.
#pragma once
#include "TarnelCore/Daemon/DaemonClient.h"
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tarnel {

/// The process's exit statuses.
enum class ExitStatus {
    success = 0,
    failure = 1,
    usage = 2, ///< The command line makes no sense.
    unreachable = 3, ///< No daemon answers.
    timeout = 4, ///< What was waited for did not come in time.
    stale = 5, ///< The item to be answered is no longer what the agent asks.
};

/// Ends a sub-command. The text, one line, says what is wrong and what to do next.
class CommandError : public std::runtime_error {
public:
    CommandError(ExitStatus exitStatus, const std::string& text)
        : std::runtime_error(text)
        , status(exitStatus)
    {
    }
    const ExitStatus status;
};

/// The outcome of parsing. `run` carries out the sub-command that the user names; whatever it throws is told to the
/// user in one line. The other members are known by the time that `run` is called, not before.
struct CommandLine {
    std::optional<std::string> socket; ///< The daemon's, where the user names one.
    std::vector<std::string> hosts; ///< On which the daemons run; empty: where the configuration says.
    bool asJSON = false;
    std::optional<DaemonClient::Seconds> timeout; ///< For one answer.
    std::function<ExitStatus()> run;

    /// How long to wait for one answer of a daemon.
    [[nodiscard]] DaemonClient::Seconds patience() const { return timeout.value_or(DaemonClient::Seconds(15)); }
};

} // namespace tarnel
