#include "tarnel/DaemonAccess.h"
#include "TarnelCore/Config/TarnelConfig.h"
#include "TarnelCore/Config/TarnelPaths.h"
#include <cerrno>

namespace tarnel {

namespace {

std::string whatFailed(const SocketError& error, const std::string& socketPath)
{
    switch (error.kind) {
    case SocketError::Kind::closed:
        return "the daemon at " + socketPath + " ended the connection";
    case SocketError::Kind::io:
        if (error.error == EAGAIN || error.error == EWOULDBLOCK)
            return "the daemon at " + socketPath + " did not answer in time";
        return "lost the daemon at " + socketPath + ": " + error.what();
    default:
        return error.what();
    }
}

} // namespace

std::string daemonSocketPath(const std::optional<std::string>& option)
{
    const Environment environment = processEnvironment();
    if (option)
        return *option;
    if (environment.contains("TARNELD_SOCKET"))
        return TarnelPaths::daemonSocket();
    return TarnelConfig::expand(TarnelConfig(TarnelConfig::defaultPath()).string("advanced.daemon_socket"));
}

std::string unreachableMessage(const SocketError& error, const std::string& socketPath)
{
    return whatFailed(error, socketPath) + "; start the daemon with: tarneld --socket " + socketPath;
}

} // namespace tarnel
