// muxle-tmux/ModelBuilder.h: makes models of what tmux lists, and remembers what a list alone cannot tell.
#pragma once
#include "TarnelCore/Base/Clock.h"
#include "muxle-tmux/AgentInspector.h"
#include "muxle-tmux/Listing.h"
#include "muxle-tmux/Model.h"
#include "muxle-tmux/SessionFinder.h"
#include "muxle-tmux/StatusTracker.h"
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarnel::tmux {

/// What one look at the server has found.
struct Survey {
    std::string server; ///< See `Model::server`.
    std::set<std::string> hostNames; ///< tmux's titles for panes whose programs set none.
    std::int64_t ownProcess = 0; ///< Of our own control client.
    std::vector<ListedSession> sessions;
    std::vector<ListedWindow> windows;
    std::vector<ListedPane> panes;
    std::vector<ListedClient> clients;
    std::map<std::int64_t, std::string> screens; ///< With colours, of the panes that may show something else.
    Clock::Instant now = {};
    Timestamp time = {};
};

/// Where the user has been sent at a client's request.
struct FocusRequest {
    std::int64_t session = 0;
    std::optional<std::int64_t> pane = {};
    Timestamp time = {};
};

/// Thread-safety: none; owned by the thread that surveys.
class ModelBuilder {
public:
    explicit ModelBuilder(std::string home);

    /// The panes whose screens the next survey needs: those of windows that wrote since the last survey, and new ones.
    /// `isWarm` asks for another survey soon: a pane moves, or has only just stopped.
    [[nodiscard]] std::vector<std::int64_t> panesToRead(
        const std::vector<ListedWindow>& windows, const std::vector<ListedPane>& panes) const;

    /// `readScreen` gives the text that a pane shows, empty when it cannot be read; called for panes that fall quiet.
    Model build(const Survey& survey, const std::function<std::string(std::int64_t)>& readScreen);

    /// Whether a pane moves, or has moved so lately that its agent or status may still change by itself.
    [[nodiscard]] bool isWarm(Clock::Instant now) const;

    /// The user's focus goes where a request has sent it, also while no terminal is attached.
    void noteFocus(const FocusRequest& request);

    /// That a session counts as used at `listed` is our own doing: it was last used at `really`.
    void noteOwnActivity(std::int64_t session, std::int64_t listed, std::int64_t really);

private:
    struct PaneState {
        std::size_t fingerprint = 0;
        std::int64_t width = 0;
        std::int64_t height = 0;
        std::int64_t revision = 0;
        bool wasFocused = false;
        std::optional<Clock::Instant> moved;
        std::optional<Timestamp> movedAt;
        std::optional<Clock::Instant> disturbed; // told to redraw
        std::optional<Clock::Instant> inspected;
        Foreground foreground;
        StatusTracker tracker;
        std::optional<std::string> agent;
        AgentStatus status = AgentStatus::unknown;
        std::int64_t stateChangeSeq = 0;
    };

    void buildSessions(const Survey& survey, Model& model);
    void buildWindows(const Survey& survey, Model& model);
    void buildPane(const Survey& survey, const ListedPane& listed, Model& model,
        const std::function<std::string(std::int64_t)>& readScreen);
    void chooseFocus(const Survey& survey, Model& model);
    void updateStatus(const Survey& survey, const ListedPane& listed, PaneModel& pane, PaneState& state, bool hasMoved,
        const std::function<std::string(std::int64_t)>& readScreen);
    void findSessions(const Survey& survey, Model& model);
    void forgetAll();

    SessionFinder sessionFinder;
    AgentInspector inspector;
    std::string server;
    std::map<std::int64_t, PaneState> states; // by pane
    std::map<std::int64_t, LayoutCell> layouts; // by window
    std::int64_t statusChanges = 0; // on this and all former servers
    std::int64_t lastSurveySecond = 0;
    bool isUnsettled = false; // more may have been written in the second of the last survey
    std::optional<std::int64_t> focusedSession;
    std::optional<FocusRequest> focusRequest;
    std::optional<std::int64_t> requestedPane; // to be counted as seen
    std::map<std::int64_t, std::pair<std::int64_t, std::int64_t>> ownActivity; // by session: listed, really
    bool isWatched = false; // a terminal is attached
    std::optional<Clock::Instant> sessionsFound;
    std::map<std::int64_t, std::string> recordSessions; // by process
};

} // namespace tarnel::tmux
