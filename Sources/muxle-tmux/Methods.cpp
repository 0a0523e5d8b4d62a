#include "muxle-tmux/Methods.h"
#include "muxle-tmux/Names.h"
#include "muxle-tmux/PaneInput.h"
#include "muxle-tmux/PaneReading.h"
#include "muxle-tmux/TmuxError.h"
#include <algorithm>

namespace tarnel::tmux {

namespace {

constexpr std::int64_t mostLines = 100'000;

JSON ping(Call& call)
{
    bool isServed = true;
    try {
        call.monitor.client();
    } catch (const TmuxError&) {
        isServed = false;
    }
    return JSON::object({{"pong", true}, {"multiplexer", "tmux"}, {"connected", isServed}});
}

JSON snapshot(Call& call)
{
    return JSON::object({{"snapshot", ModelJSON::snapshot(*call.monitor.freshModel(call.deadline))}});
}

JSON listPanes(Call& call)
{
    return JSON::object({{"panes", ModelJSON::panes(*call.monitor.freshModel(call.deadline))}});
}

JSON listAgents(Call& call)
{
    return JSON::object({{"agents", ModelJSON::agents(*call.monitor.freshModel(call.deadline))}});
}

JSON listTabs(Call& call) { return JSON::object({{"tabs", ModelJSON::tabs(*call.monitor.freshModel(call.deadline))}}); }

JSON listWorkspaces(Call& call)
{
    return JSON::object({{"workspaces", ModelJSON::workspaces(*call.monitor.freshModel(call.deadline))}});
}

JSON listLayouts(Call& call)
{
    return JSON::object({{"layouts", ModelJSON::layouts(*call.monitor.freshModel(call.deadline))}});
}

PaneReading::Request readRequest(const Params& params)
{
    using Source = PaneReading::Request::Source;
    PaneReading::Request request;
    const std::string source = params.string("source").value_or("visible");
    if (source == "recent_unwrapped")
        request.source = Source::recentUnwrapped;
    else if (source == "detection")
        request.source = Source::detection;
    else if (source != "visible")
        throw TmuxError::invalidParams(
            "\"source\" must be \"visible\", \"recent_unwrapped\" or \"detection\", not \"" + source + "\"");
    const std::string format = params.string("format").value_or("text");
    if (format != "text" && format != "ansi")
        throw TmuxError::invalidParams("\"format\" must be \"text\" or \"ansi\", not \"" + format + "\"");
    request.withColors = format == "ansi" && !params.boolean("strip_ansi").value_or(false);
    request.lines = params.integer("lines");
    if (request.lines && (*request.lines < 0 || *request.lines > mostLines))
        throw TmuxError::invalidParams("\"lines\" must be 0 to " + std::to_string(mostLines));
    return request;
}

/// A model with the pane that the request names. What is done to a pane needs no newer one: tmux knows whether the
/// pane is still there.
ModelPointer modelWithPane(Call& call)
{
    const auto number = numberOf('p', call.params.required("pane_id"));
    const ModelPointer latest = call.monitor.latestModel();
    return number && latest->pane(*number) ? latest : call.monitor.freshModel(call.deadline);
}

JSON readPane(Call& call)
{
    const PaneReading::Request request = readRequest(call.params);
    const ModelPointer model = modelWithPane(call);
    const PaneModel& pane = requiredPane(*model, call.params);
    const std::string text = PaneReading::read(call.monitor, pane, request, call.deadline);
    return JSON::object({{"read",
        JSON::object(
            {{"pane_id", paneID(pane.number)}, {"text", text}, {"format", request.withColors ? "ansi" : "text"},
                {"source", call.params.string("source").value_or("visible")}})}});
}

JSON sendKeys(Call& call)
{
    std::vector<std::string> names;
    for (const JSON& each : call.params.requiredArray("keys")) {
        if (!each.string())
            throw TmuxError::invalidParams("\"keys\" must hold names of keys only");
        names.push_back(*each.string());
    }
    const ModelPointer model = modelWithPane(call);
    PaneInput::sendKeys(call.monitor, requiredPane(*model, call.params).number, names, call.deadline);
    return JSON::object({{"sent", true}});
}

JSON sendText(Call& call)
{
    const std::string text = call.params.required("text");
    const ModelPointer model = modelWithPane(call);
    PaneInput::sendText(call.monitor, requiredPane(*model, call.params).number, text, call.deadline);
    return JSON::object({{"sent", true}});
}

/// The pane with this id, else the one with this name, else the only one that runs this agent.
const PaneModel& targetPane(const Model& model, const std::string& target)
{
    if (const auto number = numberOf('p', target)) {
        if (const PaneModel* pane = model.pane(*number))
            return *pane;
    }
    const auto only = [&](auto matches) -> const PaneModel* {
        const auto first = std::find_if(model.panes.begin(), model.panes.end(), matches);
        const bool isOnly =
            first != model.panes.end() && std::find_if(first + 1, model.panes.end(), matches) == model.panes.end();
        return isOnly ? &*first : nullptr;
    };
    if (const PaneModel* named = only([&](const PaneModel& each) { return each.name == target; }))
        return *named;
    if (const PaneModel* running = only([&](const PaneModel& each) { return each.agent == target; }))
        return *running;
    throw TmuxError::notFound("no agent \"" + target + "\"");
}

JSON prompt(Call& call)
{
    const std::string target = call.params.required("target");
    const std::string text = call.params.required("text");
    const ModelPointer model = call.monitor.freshModel(call.deadline);
    const PaneModel& pane = targetPane(*model, target);
    PaneInput::prompt(call.monitor, pane.number, text, call.deadline);
    return JSON::object({{"pane_id", paneID(pane.number)}, {"sent", true}});
}

JSON explain(Call& call)
{
    const ModelPointer model = call.monitor.freshModel(call.deadline);
    const PaneModel& pane = targetPane(*model, call.params.required("target"));
    JSON::Object explanation{{"pane", ModelJSON::pane(pane)}};
    PaneReading::Request request{.source = PaneReading::Request::Source::detection};
    explanation["screen"] = PaneReading::read(call.monitor, pane, request, call.deadline);
    return explanation;
}

template <class T> const T& found(const T* thing, std::string_view kind, const std::string& id)
{
    if (!thing)
        throw TmuxError::notFound("no " + std::string(kind) + " " + id);
    return *thing;
}

const Method* methodNamed(std::string_view name)
{
    for (const auto* table : {&readingMethods(), &arrangingMethods()}) {
        const auto row =
            std::find_if(table->begin(), table->end(), [&](const Method& each) { return each.name == name; });
        if (row != table->end())
            return &*row;
    }
    return nullptr;
}

} // namespace

const std::vector<Method>& readingMethods()
{
    static const std::vector<Method> table{
        {"ping", ping},
        {"session.snapshot", snapshot},
        {"agent.list", listAgents},
        {"pane.list", listPanes},
        {"tab.list", listTabs},
        {"workspace.list", listWorkspaces},
        {"layout.list", listLayouts},
        {"pane.read", readPane},
        {"pane.send_keys", sendKeys},
        {"pane.send_text", sendText},
        {"agent.prompt", prompt},
        {"agent.explain", explain},
    };
    return table;
}

JSON callMethod(
    Monitor& monitor, const std::string& method, const JSON::Object& params, std::chrono::milliseconds patience)
{
    const Method* row = methodNamed(method);
    if (!row)
        throw TmuxError::unknownMethod(method);
    const auto limit = method == "agent.prompt" ? 2 * patience : patience;
    Call call{monitor, Params(params), std::chrono::steady_clock::now() + limit};
    return row->handler(call);
}

const PaneModel& requiredPane(const Model& model, const Params& params, std::string_view name)
{
    const std::string id = params.required(name);
    const auto number = numberOf('p', id);
    return found(number ? model.pane(*number) : nullptr, "pane", id);
}

const WindowModel& requiredTab(const Model& model, const Params& params, std::string_view name)
{
    const std::string id = params.required(name);
    const auto number = numberOf('t', id);
    return found(number ? model.window(*number) : nullptr, "tab", id);
}

const SessionModel& requiredWorkspace(const Model& model, const Params& params, std::string_view name)
{
    const std::string id = params.required(name);
    const auto number = numberOf('w', id);
    return found(number ? model.session(*number) : nullptr, "workspace", id);
}

} // namespace tarnel::tmux
