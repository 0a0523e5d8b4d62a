#include "TarnelCore/Base/Text.h"
#include "muxle-tmux/ControlProtocol.h"
#include "muxle-tmux/Layout.h"
#include "muxle-tmux/Methods.h"
#include "muxle-tmux/Names.h"
#include "muxle-tmux/Neighbours.h"
#include "muxle-tmux/TmuxError.h"

namespace tarnel::tmux {

namespace {

std::string sessionOf(const SessionModel& session) { return sessionTarget(session.number); }
std::string paneOf(const PaneModel& pane) { return paneTarget(pane.number); }
std::string windowOf(const WindowModel& window) { return windowTarget(window.number); }

/// A window as a place in its session, for commands that change which one the session shows.
std::string placeOf(const WindowModel& window) { return sessionTarget(window.session, numbered(":@", window.number)); }

std::string run(Call& call, const std::string& command) { return call.monitor.run(command, call.deadline); }

ModelPointer fresh(Call& call) { return call.monitor.freshModel(call.deadline); }

/// The name that a client gives, under either of its usual names. May be empty.
std::string requiredName(const Params& params)
{
    auto name = params.string("name");
    if (!name)
        name = params.string("label");
    if (!name)
        throw TmuxError::invalidParams("missing parameter \"name\"");
    if (name->find('\0') != name->npos)
        throw TmuxError::invalidParams("\"name\" must not hold a NUL byte");
    return *name;
}

/// " -c DIRECTORY" for a new pane: the given one, else that of `like`.
std::string directoryOption(const Params& params, const PaneModel* like)
{
    auto directory = params.string("cwd");
    if (!directory && like)
        directory = like->foregroundCwd.value_or(like->cwd);
    if (!directory || directory->empty())
        return "";
    if (directory->front() != '/' || directory->find('\0') != directory->npos)
        throw TmuxError::invalidParams("\"cwd\" must be an absolute path");
    return " -c " + quoted(formatLiteral(*directory));
}

/// The shell command that a new pane runs in place of a shell.
std::string commandArgument(const Params& params)
{
    const auto command = params.string("command");
    if (!command || command->empty())
        return "";
    if (command->find('\0') != command->npos)
        throw TmuxError::invalidParams("\"command\" must not hold a NUL byte");
    return " -- " + quoted(*command);
}

/// The number in the id that a command printed.
std::int64_t printedNumber(char prefix, const std::string& text)
{
    if (const auto number = numberOf(prefix, text))
        return *number;
    throw TmuxError::refused("tmux answered \"" + text + "\" instead of an id");
}

/// Takes the user's terminal to the session, if it is elsewhere.
void showSession(Call& call, const Model& model, std::int64_t session, std::optional<std::int64_t> pane)
{
    const SessionModel* wanted = model.session(session);
    if (!model.userClient.empty() && wanted && !wanted->isFocused)
        run(call, "switch-client -Z -c " + quoted(model.userClient) + " -t " + sessionTarget(session));
    call.monitor.noteFocus(session, pane);
}

void showPane(Call& call, const Model& model, const PaneModel& pane)
{
    const WindowModel& window = *model.window(pane.window);
    run(call, "select-window -t " + placeOf(window));
    run(call, "select-pane -Z -t " + paneOf(pane));
    showSession(call, model, window.session, pane.number);
}

JSON paneResult(Call& call, std::int64_t number)
{
    const ModelPointer model = fresh(call);
    const PaneModel* pane = model->pane(number);
    return JSON::object({{"pane", pane ? ModelJSON::pane(*pane) : JSON()}});
}

JSON layoutResult(Call& call, std::int64_t window)
{
    const ModelPointer model = fresh(call);
    const WindowModel* now = model->window(window);
    return JSON::object({{"layout", now ? ModelJSON::layout(*now) : JSON()}});
}

JSON tabResult(Call& call, std::int64_t number)
{
    const ModelPointer model = fresh(call);
    const WindowModel* window = model->window(number);
    return JSON::object({{"tab", window ? ModelJSON::tab(*model, *window) : JSON()}});
}

JSON workspaceResult(Call& call, std::int64_t number)
{
    const ModelPointer model = fresh(call);
    const SessionModel* session = model->session(number);
    return JSON::object({{"workspace", session ? ModelJSON::workspace(*model, *session) : JSON()}});
}

JSON splitPane(Call& call)
{
    const std::string direction = call.params.string("direction").value_or("right");
    if (direction != "right" && direction != "down")
        throw TmuxError::invalidParams("\"direction\" must be \"right\" or \"down\", not \"" + direction + "\"");
    const bool takesFocus = call.params.boolean("focus").value_or(false);
    const ModelPointer model = fresh(call);
    const PaneModel& pane = requiredPane(*model, call.params);
    const std::string made = run(call,
        std::string("split-window -P -F \"#{pane_id}\" -d ") + (takesFocus ? "" : "-Z ")
            + (direction == "right" ? "-h" : "-v") + " -t " + paneOf(pane) + directoryOption(call.params, &pane)
            + commandArgument(call.params));
    const std::int64_t number = printedNumber('%', made);
    if (takesFocus) {
        const ModelPointer now = fresh(call);
        if (const PaneModel* shown = now->pane(number))
            showPane(call, *now, *shown);
    }
    return paneResult(call, number);
}

JSON closePane(Call& call)
{
    const ModelPointer model = fresh(call);
    const PaneModel& pane = requiredPane(*model, call.params);
    const auto isInWindow = [&](const PaneModel& each) { return each.window == pane.window; };
    const auto isInSession = [&](const WindowModel& each) { return each.session == pane.session; };
    const bool isLast = std::count_if(model->panes.begin(), model->panes.end(), isInWindow) == 1
        && std::count_if(model->windows.begin(), model->windows.end(), isInSession) == 1;
    if (isLast)
        call.monitor.leaveSession(pane.session, call.deadline);
    // The focus goes where clients expect it: to the first of the panes that are left.
    const WindowModel& window = *model->window(pane.window);
    const auto frames = Layout::panes(window.layout);
    const auto first = std::find_if(
        frames.begin(), frames.end(), [&](const PaneFrame& each) { return each.paneID != paneID(pane.number); });
    if (window.activePane == pane.number && first != frames.end())
        run(call, "select-pane -t " + paneTarget(*numberOf('p', first->paneID)));
    run(call, "kill-pane -t " + paneOf(pane));
    if (window.isZoomed && frames.size() > 2) // which tmux has ended
        run(call, "resize-pane -Z -t " + windowOf(window));
    fresh(call);
    return JSON::object({{"closed", true}});
}

JSON focusPane(Call& call)
{
    const ModelPointer model = fresh(call);
    const PaneModel& pane = requiredPane(*model, call.params);
    showPane(call, *model, pane);
    return paneResult(call, pane.number);
}

JSON zoomPane(Call& call)
{
    const ModelPointer model = fresh(call);
    const PaneModel& pane = requiredPane(*model, call.params);
    const WindowModel& window = *model->window(pane.window);
    const bool isZoomed = window.isZoomed && window.activePane == pane.number;
    const bool wanted = call.params.boolean("zoomed").value_or(!isZoomed);
    // Of a zoomed window the first press unzooms, whatever pane it is meant for.
    if (window.isZoomed && wanted != isZoomed)
        run(call, "resize-pane -Z -t " + paneOf(pane));
    if (wanted && !isZoomed)
        run(call, "resize-pane -Z -t " + paneOf(pane));
    return layoutResult(call, window.number);
}

JSON setSplitRatio(Call& call)
{
    const std::string split = call.params.required("split_id");
    const auto ratio = call.params.number("ratio");
    if (!ratio || !(*ratio >= 0 && *ratio <= 1))
        throw TmuxError::invalidParams("\"ratio\" must be a number from 0 to 1");
    const ModelPointer model = fresh(call);
    const WindowModel& window = requiredTab(*model, call.params);
    const auto layout = Layout::settingSplit(window.layout, split, *ratio);
    if (!layout)
        throw TmuxError::notFound("no split " + split + " in tab " + tabID(window.number));
    run(call, "select-layout -t " + windowOf(window) + " " + quoted(Layout::written(*layout)));
    return layoutResult(call, window.number);
}

JSON swapPane(Call& call)
{
    const ModelPointer model = fresh(call);
    const PaneModel& pane = requiredPane(*model, call.params);
    const PaneModel* other = nullptr;
    if (call.params.string("with")) {
        other = &requiredPane(*model, call.params, "with");
    } else {
        const auto direction = directionNamed(call.params.required("direction"));
        if (!direction)
            throw TmuxError::invalidParams("\"direction\" must be \"left\", \"right\", \"up\" or \"down\"");
        const auto id = neighbour(Layout::panes(model->window(pane.window)->layout), paneID(pane.number), *direction);
        const auto number = id ? numberOf('p', *id) : std::nullopt;
        other = number ? model->pane(*number) : nullptr;
        if (!other)
            throw TmuxError::notFound("no pane lies there beside pane " + paneID(pane.number));
    }
    // The active pane stays the active one in its new place only when it is the source.
    const PaneModel& source = other->isActive ? *other : pane;
    const PaneModel& target = other->isActive ? pane : *other;
    run(call, "swap-pane -d -Z -s " + paneOf(source) + " -t " + paneOf(target));
    return paneResult(call, pane.number);
}

JSON renamePane(Call& call)
{
    const std::string name = requiredName(call.params);
    const ModelPointer model = fresh(call);
    const PaneModel& pane = requiredPane(*model, call.params);
    const std::string option = (name.empty() ? "set-option -p -u -t " : "set-option -p -t ") + paneOf(pane);
    run(call, option + " @muxle_name" + (name.empty() ? "" : " " + quoted(name)));
    return paneResult(call, pane.number);
}

JSON createTab(Call& call)
{
    const bool takesFocus = call.params.boolean("focus").value_or(false);
    const ModelPointer model = fresh(call);
    const SessionModel* session = nullptr;
    if (call.params.string("workspace_id"))
        session = &requiredWorkspace(*model, call.params);
    for (const SessionModel& each : model->sessions) {
        if (!session && each.isFocused)
            session = &each;
    }
    if (!session)
        throw TmuxError::notFound("there is no workspace to make a tab in");
    const WindowModel* shown = model->window(session->activeWindow);
    std::string label = call.params.string("label").value_or(call.params.string("name").value_or(""));
    const std::string name = label.empty() ? "" : " -n " + quoted(formatLiteral(label));
    const std::string made = run(call,
        "new-window -d -P -F \"#{window_id}\" -t " + sessionTarget(session->number, ":") + name
            + directoryOption(call.params, shown ? model->pane(shown->activePane) : nullptr)
            + commandArgument(call.params));
    const std::int64_t number = printedNumber('@', made);
    if (takesFocus) {
        run(call, "select-window -t " + sessionTarget(session->number, numbered(":@", number)));
        showSession(call, *model, session->number, std::nullopt);
    }
    return tabResult(call, number);
}

JSON closeTab(Call& call)
{
    const ModelPointer model = fresh(call);
    const WindowModel& window = requiredTab(*model, call.params);
    const auto isInSession = [&](const WindowModel& each) { return each.session == window.session; };
    if (std::count_if(model->windows.begin(), model->windows.end(), isInSession) == 1)
        call.monitor.leaveSession(window.session, call.deadline);
    run(call, "kill-window -t " + windowOf(window));
    fresh(call);
    return JSON::object({{"closed", true}});
}

JSON renameTab(Call& call)
{
    const std::string name = requiredName(call.params);
    const ModelPointer model = fresh(call);
    const WindowModel& window = requiredTab(*model, call.params);
    run(call, "rename-window -t " + windowOf(window) + " -- " + quoted(formatLiteral(name)));
    return tabResult(call, window.number);
}

JSON focusTab(Call& call)
{
    const ModelPointer model = fresh(call);
    const WindowModel& window = requiredTab(*model, call.params);
    run(call, "select-window -t " + placeOf(window));
    showSession(call, *model, window.session, window.activePane);
    return tabResult(call, window.number);
}

/// The place "index" among `count` things; nothing when there is none.
std::optional<std::size_t> placeIn(const Params& params, std::size_t count)
{
    const auto index = params.integer("index");
    if (!index)
        return std::nullopt;
    if (*index < 0 || *index >= static_cast<std::int64_t>(count))
        throw TmuxError::invalidParams("\"index\" must be 0 to " + std::to_string(count - 1));
    return static_cast<std::size_t>(*index);
}

JSON moveTab(Call& call)
{
    const ModelPointer model = fresh(call);
    const WindowModel& window = requiredTab(*model, call.params);
    const std::int64_t session =
        call.params.string("workspace_id") ? requiredWorkspace(*model, call.params).number : window.session;
    std::vector<std::int64_t> order;
    for (const WindowModel& each : model->windows) {
        if (each.session == session && each.number != window.number)
            order.push_back(each.number);
    }
    const auto index = placeIn(call.params, order.size() + 1);
    if (!index && session == window.session)
        throw TmuxError::invalidParams("\"index\" or another \"workspace_id\" must tell where to");
    std::size_t place = order.size();
    if (session == window.session) {
        const auto isBefore = [&](std::int64_t each) { return model->window(each)->index < window.index; };
        place = static_cast<std::size_t>(std::count_if(order.begin(), order.end(), isBefore));
    } else {
        const auto isInSession = [&](const WindowModel& each) { return each.session == window.session; };
        if (std::count_if(model->windows.begin(), model->windows.end(), isInSession) == 1)
            call.monitor.leaveSession(window.session, call.deadline);
        run(call, "move-window -d -a -s " + placeOf(window) + " -t " + sessionTarget(session, ":{end}"));
    }
    if (!index || *index == place)
        return tabResult(call, window.number);
    // Past its neighbours one by one: the windows' numbers for the user stay those that there are, and none is lost.
    const std::string moved = sessionTarget(session, numbered(":@", window.number));
    while (place != *index) {
        const std::int64_t next = place < *index ? order[place++] : order[--place];
        run(call, "swap-window -s " + moved + " -t " + sessionTarget(session, numbered(":@", next)));
    }
    // The session goes on showing the place, in which another window may stand now.
    run(call, "select-window -t " + sessionTarget(session, numbered(":@", model->session(session)->activeWindow)));
    return tabResult(call, window.number);
}

JSON createWorkspace(Call& call)
{
    const std::string label = call.params.string("label").value_or(call.params.string("name").value_or(""));
    const bool takesFocus = call.params.boolean("focus").value_or(false);
    const ModelPointer model = fresh(call);
    const std::string name = label.empty() ? "" : " -s " + quoted(formatLiteral(label));
    // -E: the new session gets the server's own environment, not that of whoever started this program.
    const std::string made = run(call,
        "new-session -d -E -P -F \"#{session_id}\"" + name + directoryOption(call.params, nullptr)
            + commandArgument(call.params));
    const std::int64_t number = printedNumber('$', made);
    if (takesFocus)
        showSession(call, *fresh(call), number, std::nullopt);
    return workspaceResult(call, number);
}

JSON closeWorkspace(Call& call)
{
    const ModelPointer model = fresh(call);
    const SessionModel& session = requiredWorkspace(*model, call.params);
    call.monitor.leaveSession(session.number, call.deadline);
    try {
        run(call, "kill-session -t " + sessionOf(session));
    } catch (const TmuxError& error) {
        if (error.code != "tmux_unavailable") // the server may end with its last session before it answers
            throw;
    }
    fresh(call);
    return JSON::object({{"closed", true}});
}

JSON renameWorkspace(Call& call)
{
    const std::string name = requiredName(call.params);
    const ModelPointer model = fresh(call);
    const SessionModel& session = requiredWorkspace(*model, call.params);
    run(call, "rename-session -t " + sessionOf(session) + " -- " + quoted(formatLiteral(name)));
    return workspaceResult(call, session.number);
}

/// tmux knows no order of sessions: they remember it in an option.
JSON moveWorkspace(Call& call)
{
    const ModelPointer model = fresh(call);
    const SessionModel& moved = requiredWorkspace(*model, call.params);
    const auto index = placeIn(call.params, model->sessions.size());
    if (!index)
        throw TmuxError::invalidParams("missing parameter \"index\"");
    std::vector<std::int64_t> order;
    for (const SessionModel& each : model->sessions) {
        if (each.number != moved.number)
            order.push_back(each.number);
    }
    order.insert(order.begin() + static_cast<std::ptrdiff_t>(*index), moved.number);
    for (std::size_t i = 0; i < order.size(); ++i)
        run(call, "set-option -t " + sessionTarget(order[i]) + " @muxle_place " + std::to_string(i));
    return workspaceResult(call, moved.number);
}

JSON focusWorkspace(Call& call)
{
    const ModelPointer model = fresh(call);
    const SessionModel& session = requiredWorkspace(*model, call.params);
    const WindowModel* window = model->window(session.activeWindow);
    showSession(call, *model, session.number, window ? std::optional(window->activePane) : std::nullopt);
    return workspaceResult(call, session.number);
}

} // namespace

const std::vector<Method>& arrangingMethods()
{
    static const std::vector<Method> table{
        {"pane.split", splitPane},
        {"pane.close", closePane},
        {"pane.focus", focusPane},
        {"pane.zoom", zoomPane},
        {"pane.resize_split", setSplitRatio},
        {"layout.set_split_ratio", setSplitRatio},
        {"pane.swap", swapPane},
        {"pane.rename", renamePane},
        {"tab.create", createTab},
        {"tab.close", closeTab},
        {"tab.rename", renameTab},
        {"tab.focus", focusTab},
        {"tab.move", moveTab},
        {"workspace.create", createWorkspace},
        {"workspace.close", closeWorkspace},
        {"workspace.rename", renameWorkspace},
        {"workspace.focus", focusWorkspace},
        {"workspace.move", moveWorkspace},
    };
    return table;
}

} // namespace tarnel::tmux
