// Tests/Support/MuxleWorld.h: what a scripted multiplexer shows, and its answers about that.
#pragma once
#include "TarnelCore/JSON/JSON.h"
#include "TarnelCore/Muxle/TabLayout.h"
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// Workspaces, tabs and panes. A plain value: change what you like, no member is checked against another.
struct MuxleWorld {
    struct Pane {
        std::string id;
        std::string workspace;
        std::string tab;
        std::optional<std::string> agent; ///< "claude", say; absent for a shell.
        std::string status = "idle";
        std::string cwd = "/home/me/project";
        std::string title;
        std::optional<std::string> name;
        std::optional<std::string> sessionID;
        bool isFocused = false;
        std::int64_t revision = 1;
        std::int64_t stateChangeSeq = 1;
        CellRect rect;
        std::string screen; ///< What reading the pane gives,
        std::map<std::string, std::string> screens; ///< unless its source has a text here.
        JSON::Object more; ///< Members to add to the pane's element, or to put in the place of others.
    };
    struct Tab {
        std::string id;
        std::string workspace;
        std::int64_t number = 1;
        std::string label;
        std::string status = "idle";
        bool isZoomed = false;
        CellRect area = {0, 0, 160, 48};
        std::vector<LayoutSplit> splits;
    };
    struct Workspace {
        std::string id;
        std::int64_t number = 1;
        std::string label;
        std::string status = "idle";
        std::string activeTab;
        std::map<std::string, std::string> tokens;
    };

    std::vector<Workspace> workspaces;
    std::vector<Tab> tabs;
    std::vector<Pane> panes;

    /// Workspace "w1" with tab "t1": an idle claude in "p1", focused, to the left; an idle codex in "p2" above a shell
    /// in "p3" to the right. The screens tell where they are from: "screen of p1".
    static MuxleWorld usual();

    /// The pane, tab or workspace with this id. Throws std::out_of_range when there is none.
    Pane& pane(std::string_view id);
    Tab& tab(std::string_view id);
    Workspace& workspace(std::string_view id);

    /// The results of "agent.list", "pane.list", "workspace.list" and "session.snapshot".
    [[nodiscard]] JSON agentList() const;
    [[nodiscard]] JSON paneList() const;
    [[nodiscard]] JSON workspaceList() const;
    [[nodiscard]] JSON sessionSnapshot() const;

    /// The result of "pane.read": of the text, the last "lines" where that is given. Throws MuxleError for an unknown
    /// pane.
    [[nodiscard]] JSON paneRead(const JSON::Object& params) const;

    /// What "pane.focus" does. Throws MuxleError for an unknown pane.
    void focus(const std::string& pane);
};

} // namespace tarnel
