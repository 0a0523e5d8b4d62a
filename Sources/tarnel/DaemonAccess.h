// tarnel/DaemonAccess.h: which daemon to ask, and what to say when it does not answer.
#pragma once
#include "TarnelCore/UnixSocket/SocketError.h"
#include <optional>
#include <string>

namespace tarnel {

/// The daemon's socket: `option` when given, else what the environment says, else what the configuration file says.
std::string daemonSocketPath(const std::optional<std::string>& option);

/// One line, without a line feed: what was tried at `socketPath`, how it failed, and what to start.
std::string unreachableMessage(const SocketError& error, const std::string& socketPath);

} // namespace tarnel
