// muxle-tmux/ProcessTable.h: what the system tells of other processes.
#pragma once
#include "TarnelCore/Base/Timestamp.h"
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::tmux {

struct ProcessInfo {
    std::int64_t id = 0;
    std::int64_t parent = 0;
    std::int64_t group = 0;
    std::int64_t foregroundGroup = 0; ///< Of the terminal that it runs on; not positive when there is none.
    Timestamp started = {};
};

/// Reads the system's table. A process that has gone, or belongs to another user, gives nothing. Thread-safe.
namespace ProcessTable {

std::optional<ProcessInfo> info(std::int64_t process);

/// The words that the process was started with; they may be its own invention since.
std::vector<std::string> arguments(std::int64_t process);

std::optional<std::string> workingDirectory(std::int64_t process);

/// The paths of the files that it has open, in no fixed order.
std::vector<std::string> openFiles(std::int64_t process);

/// The processes of a group, in ascending order. Looks through all processes where the system has no shorter way.
std::vector<std::int64_t> members(std::int64_t group);

} // namespace ProcessTable

} // namespace tarnel::tmux
