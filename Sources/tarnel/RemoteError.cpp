#include "tarnel/RemoteError.h"

namespace tarnel {

namespace {

std::string whatFailed(RemoteError::Reason reason, const std::string& host)
{
    switch (reason) {
    case RemoteError::Reason::noClient:
        return "cannot start ssh to reach " + host;
    case RemoteError::Reason::refused:
        return "cannot log in to " + host;
    case RemoteError::Reason::notInstalled:
        return "tarneld is not installed on " + host + ", or not where its shell looks for programs";
    case RemoteError::Reason::noDaemon:
        return "no daemon answers on " + host;
    case RemoteError::Reason::ended:
        break;
    }
    return "the shell on " + host + " ended before the daemon answered";
}

} // namespace

RemoteError::RemoteError(Reason failure, const std::string& host, const std::string& detail)
    : SocketError(Kind::connect, 0,
        whatFailed(failure, host) + (detail.empty() ? "" : " (" + detail + ")") + "; try: " + remedy(failure, host))
    , reason(failure)
{
}

RemoteError::Reason RemoteError::reasonFor(int exitStatus)
{
    switch (exitStatus) {
    case 255:
        return Reason::refused;
    case 126:
    case 127:
        return Reason::notInstalled;
    case 1:
        return Reason::noDaemon;
    default:
        return Reason::ended;
    }
}

std::string RemoteError::remedy(Reason reason, const std::string& host)
{
    switch (reason) {
    case Reason::noClient:
        return "command -v ssh";
    case Reason::refused:
        return "ssh " + host + " true";
    case Reason::notInstalled:
        return "ssh " + host + " 'command -v tarneld'";
    case Reason::noDaemon:
        return "ssh -f " + host + " 'tarneld </dev/null >/dev/null 2>&1'";
    case Reason::ended:
        break;
    }
    return "ssh " + host + " tarneld bridge";
}

} // namespace tarnel
