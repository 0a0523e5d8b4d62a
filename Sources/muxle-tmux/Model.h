// muxle-tmux/Model.h: what clients are told of the tmux server at one moment.
#pragma once
#include "TarnelCore/JSON/JSON.h"
#include "TarnelCore/Muxle/MuxleModels.h"
#include "muxle-tmux/Layout.h"
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel::tmux {

/// Numbers are those of tmux's ids.
struct PaneModel {
    std::int64_t number = 0;
    std::int64_t window = 0;
    std::int64_t session = 0;
    std::optional<std::string> agent; ///< Absent in a plain shell.
    AgentStatus status = AgentStatus::unknown;
    std::int64_t stateChangeSeq = 0; ///< Of all status changes on the server, the number of this pane's last one.
    std::int64_t revision = 0; ///< How often the pane was found to show something else.
    std::string title; ///< Empty unless a program has set one.
    std::string name; ///< Given by the user; may be empty.
    std::string cwd; ///< Of the process that was started in the pane.
    std::optional<std::string> foregroundCwd; ///< Of the one in the foreground.
    std::optional<std::string> agentSession;
    std::string agentSessionSource; ///< "option", "arguments" or "record".
    bool isFocused = false;
    bool isActive = false; ///< The active one of its window.
    bool isDead = false;
    bool isAlternate = false;
    std::int64_t history = 0; ///< Lines above the screen.
    std::int64_t width = 0;
    std::int64_t height = 0;

    bool operator==(const PaneModel&) const = default;
};

struct WindowModel {
    std::int64_t number = 0;
    std::int64_t session = 0; ///< Of those that show the window, the oldest.
    std::int64_t index = 0; ///< As the user knows it.
    std::string name;
    bool isZoomed = false;
    std::int64_t activePane = 0;
    LayoutCell layout; ///< Not zoomed.

    bool operator==(const WindowModel&) const = default;
};

struct SessionModel {
    std::int64_t number = 0;
    std::string name;
    std::int64_t activeWindow = 0;
    bool isFocused = false;

    bool operator==(const SessionModel&) const = default;
};

struct Model {
    std::vector<SessionModel> sessions; ///< In their order.
    std::vector<WindowModel> windows; ///< By session, then by index.
    std::vector<PaneModel> panes; ///< By window as above, then in the window's order.
    std::string server; ///< Tells one run of a tmux server from another; empty when there is none.
    std::string userClient; ///< The terminal that the user used last; empty when none is attached.

    bool operator==(const Model&) const = default;

    [[nodiscard]] const PaneModel* pane(std::int64_t number) const;
    [[nodiscard]] const WindowModel* window(std::int64_t number) const;
    [[nodiscard]] const SessionModel* session(std::int64_t number) const;
};

using ModelPointer = std::shared_ptr<const Model>;

/// The forms in which clients get the parts of a model. Pure.
namespace ModelJSON {

JSON pane(const PaneModel& pane);
JSON panes(const Model& model);
JSON agents(const Model& model); ///< The panes with an agent.
JSON tab(const Model& model, const WindowModel& window);
JSON tabs(const Model& model);
JSON workspace(const Model& model, const SessionModel& session);
JSON workspaces(const Model& model);
JSON layout(const WindowModel& window);
JSON layouts(const Model& model);
JSON snapshot(const Model& model);

} // namespace ModelJSON

/// The events that lead from one model to the next, in the order in which clients get them. Pure.
std::vector<JSON::Object> eventsBetween(const Model& before, const Model& after);

/// A title without the spinner or mark that agents draw before it.
std::string strippedTitle(std::string_view title);

} // namespace tarnel::tmux
