// muxle-tmux/TmuxAddress.h: which tmux server is served, and the program that talks to it.
#pragma once
#include "TarnelCore/Base/Environment.h"
#include "TarnelCore/Base/Process.h"
#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::tmux {

/// A tmux server's socket. A value; thread-safe.
class TmuxAddress {
public:
    /// `socket` is a name as for `tmux -L`, or, when it holds a slash, a path as for `tmux -S`. Without one it is the
    /// server that `$TMUX` names, as inside tmux, else the default one.
    /// Throws std::runtime_error when no tmux is installed.
    TmuxAddress(const std::optional<std::string>& socket, const Environment& environment);

    [[nodiscard]] const std::string& socketPath() const { return path; }

    /// Whether a server accepts connections there. Blocks for a moment at most.
    [[nodiscard]] bool isServed() const;

    /// How to start a tmux that runs `arguments` on the server and never starts a server of its own.
    [[nodiscard]] Process::Options command(const std::vector<std::string>& arguments) const;

    /// What such a tmux writes; nothing when it fails. Throws TmuxError::timeout.
    [[nodiscard]] std::optional<std::string> output(
        const std::vector<std::string>& arguments, std::chrono::milliseconds timeout) const;

private:
    std::string executable;
    std::string path;
    Environment variables; // of the tmux that is started
};

} // namespace tarnel::tmux
