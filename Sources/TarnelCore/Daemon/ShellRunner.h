// TarnelCore/Daemon/ShellRunner.h: runs the shell commands that the user has bound to keys of the multiplexer.
#pragma once
#include "TarnelCore/Base/Environment.h"
#include "TarnelCore/Muxle/MuxleClient.h"
#include "TarnelCore/Muxle/MuxleKeymap.h"
#include <chrono>
#include <optional>
#include <string>
#include <string_view>

/// A client can run only what the user has already bound, and in the environment that the multiplexer itself would
/// give. Thread-safe.
namespace tarnel::ShellRunner {

struct Request {
    std::string command;
    std::optional<std::string> cwd; ///< The daemon's own directory when absent or empty.
    Environment active; ///< The "MUXLE_ACTIVE_" variables, which tell what the user looks at.
};

/// Whether exactly this command is bound, as a shell command.
bool isBound(const MuxleKeymap& keymap, std::string_view command);

/// The multiplexer's key map as its configuration file has it now; the default one when there is no such file.
MuxleKeymap currentKeymap(const Environment& environment);

/// The environment of a command: that of the daemon, with only those variables of the multiplexer that say where it is,
/// and `active`.
Environment environmentFor(const Environment& daemon, const MuxleClient& muxle, const Environment& active);

/// How long a client is kept waiting for a command to end.
inline constexpr std::chrono::seconds patience{10};

/// Runs the command, and waits for its end for at most `timeout`; it then goes on by itself. The result:
/// `{"started":true,"finished":true,"status":<exit status>}`, or `{"started":true,"finished":false}`.
/// Throws DaemonError::notBound, and std::system_error when the shell cannot be started.
JSON run(const Request& request, const MuxleClient& muxle, const Environment& environment,
    std::chrono::nanoseconds timeout = patience);

} // namespace tarnel::ShellRunner
