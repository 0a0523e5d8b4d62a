// muxle-tmux/AgentInspector.h: looks which agent runs in the foreground of a pane.
#pragma once
#include "TarnelCore/Base/Clock.h"
#include "TarnelCore/Base/Timestamp.h"
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::tmux {

/// What runs in a pane.
struct Foreground {
    std::int64_t process = 0; ///< The agent's, or without one the leader of the foreground group; 0: none.
    std::optional<std::string> agent = {};
    std::vector<std::string> arguments = {}; ///< The words that the process was started with.
    Timestamp started = {}; ///< When the process was.
    bool isShell = false; ///< It is a shell that waits for its user.
    std::string cwd = {}; ///< Of the process that was started in the pane; empty when it cannot be learnt.
    std::optional<std::string> foregroundCwd = {};
};

/// Thread-safety: none.
class AgentInspector {
public:
    /// `process` is the one that was started in the pane. An agent that runs behind another program in the foreground
    /// ("npx", "sudo") is looked for at most once a second, since that may take a look at all processes.
    Foreground inspect(std::int64_t process, Clock::Instant now);

private:
    std::optional<Clock::Instant> lastSearch;
};

} // namespace tarnel::tmux
