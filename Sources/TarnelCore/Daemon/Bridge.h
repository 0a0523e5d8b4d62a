// TarnelCore/Daemon/Bridge.h: joins standard input and output to a daemon's socket.
#pragma once
#include <string>

/// The relay by which a client on another machine reaches this one's daemon through a remote shell.
namespace tarnel::Bridge {

/// Relays whole lines both ways, each with exactly one line feed, until the daemon ends the connection or `output`
/// fails. The end of `input` ends only the sending direction, so that the daemon's last answers still arrive.
/// Returns the process's exit status: 0, or 1 after one line on standard error when the daemon cannot be reached.
/// Blocks. Ignores the broken-pipe signal for the whole process; leaves both descriptors open.
int run(const std::string& socketPath, int input = 0, int output = 1);

} // namespace tarnel::Bridge
