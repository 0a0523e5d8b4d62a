// muxle-tmux/Methods.h: the methods that clients call.
#pragma once
#include "TarnelCore/JSON/JSON.h"
#include "muxle-tmux/Monitor.h"
#include "muxle-tmux/Params.h"
#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel::tmux {

/// One call.
struct Call {
    Monitor& monitor;
    Params params;
    Monitor::Deadline deadline; ///< By which there must be an answer.
};

struct Method {
    std::string_view name;
    JSON (*handler)(Call& call); ///< Returns the result, or throws TmuxError.
};

/// The methods by subject. Those that hold their connection are the server's own.
const std::vector<Method>& readingMethods();
const std::vector<Method>& arrangingMethods();

/// The result of a method of either table, within `patience`; a prompt may take twice as long. Throws TmuxError.
JSON callMethod(
    Monitor& monitor, const std::string& method, const JSON::Object& params, std::chrono::milliseconds patience);

/// What the parameter `name` names. Throws TmuxError: invalidParams, notFound.
const PaneModel& requiredPane(const Model& model, const Params& params, std::string_view name = "pane_id");
const WindowModel& requiredTab(const Model& model, const Params& params, std::string_view name = "tab_id");
const SessionModel& requiredWorkspace(const Model& model, const Params& params, std::string_view name = "workspace_id");

} // namespace tarnel::tmux
