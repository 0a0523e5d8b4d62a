#include "TarnelCore/Daemon/DaemonError.h"

namespace tarnel {

DaemonError DaemonError::missing(const std::string& parameter)
{
    return {Kind::missing, "missing parameter: " + parameter};
}

DaemonError DaemonError::notFound(const std::string& pane) { return {Kind::notFound, "no agent in pane " + pane}; }

DaemonError DaemonError::unknownMethod(const std::string& method)
{
    return {Kind::unknownMethod, "unknown method " + method};
}

DaemonError DaemonError::alreadyRunning(const std::string& socketPath, const std::string& machine)
{
    return {Kind::alreadyRunning, "a tarneld for " + machine + " is already answering on " + socketPath};
}

DaemonError DaemonError::notBound(const std::string& command)
{
    return {Kind::notBound, "not a shell command in this machine's muxle config: " + command};
}

DaemonError DaemonError::unfit(const std::string& text) { return {Kind::unfit, text}; }

} // namespace tarnel
