// TarnelCore/Records/RecordLocator.h: finds the record that an agent keeps of its session.
#pragma once
#include "TarnelCore/Base/Clock.h"
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Muxle/MuxleModels.h"
#include "TarnelCore/Records/RecordPlace.h"
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

/// Searches the folders below a home directory in which Claude, Codex and Grok keep their records. One serves all
/// panes. Session ids and working directories come from outside: one that is no plain file name ("..", "a/b") finds
/// nothing. Nothing throws; a folder that cannot be read holds nothing. Thread-safety: every operation from any thread.
/// A search for a Codex record waits for one that another thread makes, so that the sessions' tree is never walked
/// twice at once; the others take no lock.
class RecordLocator {
public:
    /// `home` has no "/" at its end; `clock` outlives the locator.
    RecordLocator(std::string home, Clock& clock);

    /// The record of the agent's session; nothing without a session id, for an agent whose records are not read, and
    /// when there is none.
    std::optional<RecordPlace> locate(
        AgentKind kind, const std::optional<std::string>& sessionID, const std::string& cwd) TARNEL_EXCLUDES(mutex);

    /// The record file, sought first where Claude keeps those of `cwd`, then in the folders of all other projects.
    [[nodiscard]] std::optional<std::string> claudePath(const std::string& sessionID, const std::string& cwd) const;

    /// The record file, wherever it stands below the sessions' folder. A session that is not known yet makes the whole
    /// tree be walked, but at most once in five seconds; until then it is not found.
    std::optional<std::string> codexPath(const std::string& sessionID) TARNEL_EXCLUDES(mutex);

    /// The session's directory, sought first where Grok keeps those of `cwd`, then in the folders of all other
    /// projects.
    [[nodiscard]] std::optional<std::string> grokDirectory(const std::string& sessionID, const std::string& cwd) const;

    /// The name that Claude gives the folder of a working directory: "-Users-me-my-app-v2" for "/Users/me/my_app.v2".
    static std::string claudeSlug(std::string_view cwd);

private:
    void rebuildCodexIndex() TARNEL_REQUIRES(mutex);

    const std::string home;
    Clock& clock;
    Mutex mutex; // held while the tree is walked, see above
    std::map<std::string, std::string, std::less<>> codexIndex TARNEL_GUARDED_BY(mutex); // paths by session id
    std::optional<Clock::Instant> codexIndexedAt TARNEL_GUARDED_BY(mutex); // absent: never yet
};

} // namespace tarnel
