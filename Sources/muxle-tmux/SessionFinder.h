// muxle-tmux/SessionFinder.h: finds the sessions that agents keep, by the records that they write.
#pragma once
#include "TarnelCore/Base/Timestamp.h"
#include "TarnelCore/Muxle/MuxleModels.h"
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarnel::tmux {

/// An agent whose session nothing else tells.
struct SessionSeeker {
    std::int64_t process = 0;
    AgentKind kind = AgentKind::other;
    std::string cwd;
    Timestamp started = {};
    std::optional<Timestamp> moved = {}; ///< When its pane last showed something else.
    std::vector<std::string> openFiles = {};
};

/// A session's record on disk.
struct SessionRecord {
    std::string session;
    std::string path; ///< Of the file that grows.
    std::optional<Timestamp> born = {}; ///< Absent where the file system does not keep it.
    Timestamp modified = {};
};

/// The records in which an agent of this kind that works in `cwd` may have written since `since`: the record's form and
/// place differ by agent. Empty for agents that keep none that we know.
std::vector<SessionRecord> sessionRecords(
    const std::string& home, AgentKind kind, const std::string& cwd, Timestamp since);

/// Tells which seeker writes which record. A record belongs to the process that has it open, or that alone can have
/// made it, or whose pane alone moved when it was written; then for as long as the process lives. Where that leaves a
/// doubt, nobody gets it.
class SessionFinder {
public:
    explicit SessionFinder(std::string home);

    /// The sessions by process. The seekers must be all of them, of whatever kind, and `taken` the sessions of all
    /// other agents, or a record may go to the wrong one.
    std::map<std::int64_t, std::string> find(
        const std::vector<SessionSeeker>& seekers, const std::set<std::string>& taken);

    /// The same over records that were listed already: those that the seeker at the same place may write.
    std::map<std::int64_t, std::string> assign(
        const std::vector<SessionSeeker>& seekers, const std::vector<std::vector<SessionRecord>>& records);

private:
    const std::string home;
    std::map<std::string, std::int64_t> owners; // of records, by path
};

} // namespace tarnel::tmux
