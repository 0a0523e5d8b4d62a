// TarnelCore/Daemon/SocketClaim.h: makes sure that one daemon serves a socket.
#pragma once
#include "TarnelCore/Base/FileDescriptor.h"
#include <string>

namespace tarnel {

/// The right to listen at a path, for as long as it lives: a lock on a file beside the socket, which the system gives
/// back however the process ends. A daemon that is slow to answer keeps its socket all the same.
class SocketClaim {
public:
    /// Throws DaemonError::alreadyRunning, with the other daemon's machine name or "?", when another process has the
    /// claim or answers on the socket; DaemonError::unfit, which names the mend, when other users could put a socket of
    /// their own in the place of this one; std::system_error when the lock file cannot be made. Blocks at most some two
    /// seconds.
    explicit SocketClaim(const std::string& socketPath);

private:
    FileDescriptor lock;
};

} // namespace tarnel
