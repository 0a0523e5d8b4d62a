// TarnelCore/Attention/AttentionEngine.h: decides which agents need the user, and why.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "TarnelCore/Attention/PaneScreens.h"
#include "TarnelCore/Base/Clock.h"
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Muxle/MuxleClient.h"
#include "TarnelCore/Records/RecordLocator.h"
#include "TarnelCore/Records/StatusLineCache.h"
#include "TarnelCore/Records/TranscriptCache.h"
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// Turns the multiplexer's panes, the agents' records and, where these can't tell, the panes' screens into snapshots.
/// Thread-safety: every operation may be called from any thread; the caches have locks of their own.
class AttentionEngine {
public:
    /// The world that the engine looks at. Everything outlives the engine.
    struct World {
        Clock& clock = Clock::system();
        std::string home = homeDirectory();
        /// Takes diagnostic lines, without their line feed.
        std::function<void(std::string_view)> diagnostics = [](std::string_view) {};
    };

    AttentionEngine(MuxleClient muxle, std::string machine, QueueOptions options, World world);

    /// The host name up to its first dot, in lower case.
    static std::string localMachineName();

    [[nodiscard]] const std::string& machine() const { return machineName; }
    [[nodiscard]] const MuxleClient& muxle() const { return client; }
    [[nodiscard]] const std::string& home() const { return world.home; }

    /// The whole machine now. Throws what the multiplexer's pane list throws when there is no other way to see the panes.
    /// A multiplexer that hangs costs one request's time-out in all.
    [[nodiscard]] MachineSnapshot snapshot();

    /// The queue item of one agent; nothing when it needs no one. `space` is the name of its workspace.
    [[nodiscard]] std::optional<AttentionItem> item(const MuxleAgent& agent, const std::string& space, PaneScreens& screens);

    /// What the agent's record holds; null when there is no record.
    [[nodiscard]] std::shared_ptr<const Transcript> transcript(const MuxleAgent& agent);

    [[nodiscard]] std::optional<StatusLine> statusLine(const MuxleAgent& agent);

    /// The label of the agent's workspace, or its id when it is not among `workspaces`.
    static std::string spaceName(const MuxleAgent& agent, const std::vector<MuxleWorkspace>& workspaces);

    /// Most urgent first; among equals the oldest or the newest state change first.
    static void order(std::vector<AttentionItem>& items, bool oldestFirst);

    /// The item to look at after the one of pane `after`, wrapping around; the first one when no item has that pane.
    /// Finished turns are passed over unless `includeFinished`. Null when there is none.
    static const AttentionItem* next(
        const std::vector<AttentionItem>& items, const std::optional<std::string>& after, bool includeFinished);

    /// The last `lines` lines of `text` after the blank lines at its end are dropped.
    static std::string tail(std::string_view text, std::size_t lines);

private:
    struct Listing;
    struct Finding;

    [[nodiscard]] Listing list(const MuxleClient& muxle) const;
    void readScreens(const MuxleClient& muxle, const std::vector<MuxleAgent>& agents, std::vector<PaneScreens>& screens) const;
    [[nodiscard]] bool isMuted(const MuxleAgent& agent) const;
    [[nodiscard]] std::optional<RecordPlace> place(const MuxleAgent& agent);
    [[nodiscard]] std::shared_ptr<const Transcript> read(const std::optional<RecordPlace>& record);
    [[nodiscard]] std::optional<AttentionItem> item(const MuxleAgent& agent, const std::optional<RecordPlace>& record,
        const std::string& space, PaneScreens& screens);
    [[nodiscard]] std::optional<Finding> find(const MuxleAgent& agent, const Transcript* transcript, PaneScreens& screens) const;
    [[nodiscard]] std::optional<Finding> findDone(const Transcript* transcript, PaneScreens& screens) const;
    [[nodiscard]] AttentionItem makeItem(const MuxleAgent& agent, const std::string& space, const Transcript* record,
        const Finding& finding, const std::string& identity) const;
    [[nodiscard]] std::optional<AttentionItem> idleAskingItem(const MuxleAgent& agent,
        const std::optional<RecordPlace>& record, const std::string& space, PaneScreens& screens);

    const MuxleClient client;
    const std::string machineName;
    const QueueOptions options;
    const World world;
    RecordLocator locator;
    TranscriptCache transcripts;
    StatusLineCache statusLines;
};

} // namespace tarnel
