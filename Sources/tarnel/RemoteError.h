// tarnel/RemoteError.h: why the daemon of another machine cannot be reached.
#pragma once
#include "TarnelCore/UnixSocket/SocketError.h"
#include <string>

namespace tarnel {

/// A remote shell that has not led to a daemon. The text names the host, the reason and what to try.
class RemoteError final : public SocketError {
public:
    enum class Reason {
        noClient, ///< The ssh command itself cannot be started.
        refused, ///< ssh has failed: the host cannot be found or reached, or does not let us in.
        notInstalled, ///< The host's shell knows no tarneld.
        noDaemon, ///< tarneld is there, but none serves.
        ended, ///< The remote shell ended in some other way.
    };

    /// `detail` is what the programs involved have said, one line; it may be empty.
    RemoteError(Reason reason, const std::string& host, const std::string& detail);

    /// What the exit status of the ssh command says. 127 and 126 are the remote shell's, 255 is ssh's own.
    static Reason reasonFor(int exitStatus);

    /// The one command by which the user sees the reason, or mends it.
    static std::string remedy(Reason reason, const std::string& host);

    const Reason reason;
};

} // namespace tarnel
