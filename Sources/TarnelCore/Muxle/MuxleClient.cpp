#include "TarnelCore/Muxle/MuxleClient.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Muxle/DeadlineTransport.h"

namespace tarnel {

namespace {

std::string homeOf(const Environment& environment)
{
    const auto home = nonEmpty(environment, "HOME");
    return home ? *home : homeDirectory();
}

/// The size that one element of a layout's "panes" gives; nothing when it is unusable.
std::optional<MuxleClient::PaneSize> sizeOf(const JSON& pane)
{
    const JSON* rect = pane["rect"];
    if (!rect)
        return std::nullopt;
    const auto width = integerOf((*rect)["width"]);
    const auto height = integerOf((*rect)["height"]);
    if (!width || !height || *width < 1 || *height < 1)
        return std::nullopt;
    return MuxleClient::PaneSize{*width, *height};
}

const JSON::Array& elementsOf(const JSON* list)
{
    static const JSON::Array none;
    const JSON::Array* elements = list ? list->array() : nullptr;
    return elements ? *elements : none;
}

} // namespace

MuxleError MuxleError::fromReply(const JSON& error)
{
    return {stringOf(error["code"]).value_or("error"), stringOf(error["message"]).value_or(error.serialized())};
}

MuxleClient::MuxleClient(std::shared_ptr<MuxleTransport> carrier)
    : transport(std::move(carrier))
{
}

std::string MuxleClient::resolveSocketPath(const std::optional<std::string>& session, const Environment& environment)
{
    const auto given = nonEmpty(environment, "MUXLE_SOCKET_PATH");
    if (!session && given)
        return *given;
    std::string directory = homeOf(environment) + "/.config/muxle";
    if (const auto file = nonEmpty(environment, "MUXLE_CONFIG_PATH")) {
        directory = Files::parent(*file);
        if (directory.empty())
            directory = "."; // a bare file name
    }
    const std::string name = session ? *session : nonEmpty(environment, "MUXLE_SESSION").value_or("");
    if (!name.empty() && name != "default")
        directory += "/sessions/" + name;
    return directory + "/muxle.sock";
}

std::optional<std::string> MuxleClient::executable(const Environment& environment)
{
    const std::string candidates[] = {nonEmpty(environment, "MUXLE_BIN_PATH").value_or(""),
        homeOf(environment) + "/.local/bin/muxle", "/opt/homebrew/bin/muxle", "/usr/local/bin/muxle", "/usr/bin/muxle"};
    for (const std::string& path : candidates) {
        if (Files::isExecutable(path))
            return path;
    }
    return std::nullopt;
}

JSON MuxleClient::request(std::string_view method, const JSON::Object& params, Seconds timeout) const
{
    return transport->request(method, params, timeout);
}

std::vector<MuxleTransport::Outcome> MuxleClient::requestAll(const std::vector<MuxleTransport::Call>& calls) const
{
    return transport->requestAll(calls, usualTimeout);
}

MuxleClient MuxleClient::limited(Clock& clock, Seconds timeout) const
{
    return MuxleClient(std::make_shared<DeadlineTransport>(transport, clock, timeout));
}

void MuxleClient::subscribe(const JSON::Array& events, const std::function<void(std::shared_ptr<LineChannel>)>& onOpen,
    const std::function<void(const JSON&)>& onEvent) const
{
    transport->subscribe(events, onOpen, onEvent);
}

std::vector<MuxleAgent> MuxleClient::agents() const { return decodeList<MuxleAgent>(request("agent.list")["agents"]); }

std::vector<MuxleAgent> MuxleClient::panes() const { return decodeList<MuxleAgent>(request("pane.list")["panes"]); }

std::vector<MuxleWorkspace> MuxleClient::workspaces() const
{
    return decodeList<MuxleWorkspace>(request("workspace.list")["workspaces"]);
}

MuxleTransport::Call MuxleClient::readCall(
    std::string_view pane, std::string_view source, std::optional<std::int64_t> lines, std::string_view format)
{
    JSON::Object params{{"pane_id", pane}, {"source", source}, {"format", format}};
    if (format == "ansi")
        params["strip_ansi"] = false;
    if (lines)
        params["lines"] = *lines;
    return {"pane.read", std::move(params)};
}

std::string MuxleClient::readText(const JSON& result)
{
    const JSON* screen = result["read"];
    return screen ? stringOf((*screen)["text"]).value_or("") : "";
}

std::string MuxleClient::read(
    std::string_view pane, std::string_view source, std::optional<std::int64_t> lines, std::string_view format) const
{
    const MuxleTransport::Call call = readCall(pane, source, lines, format);
    return readText(request(call.method, call.params));
}

void MuxleClient::sendKeys(std::string_view pane, const std::vector<std::string>& keys) const
{
    request("pane.send_keys", {{"pane_id", pane}, {"keys", JSON::Array(keys.begin(), keys.end())}});
}

void MuxleClient::sendText(std::string_view pane, std::string_view text) const
{
    request("pane.send_text", {{"pane_id", pane}, {"text", text}});
}

JSON MuxleClient::prompt(std::string_view target, std::string_view text) const
{
    return request("agent.prompt", {{"target", target}, {"text", text}}, promptTimeout);
}

void MuxleClient::focus(std::string_view pane) const { request("pane.focus", {{"pane_id", pane}}); }

JSON MuxleClient::ping() const { return request("ping"); }

JSON MuxleClient::explain(std::string_view target) const { return request("agent.explain", {{"target", target}}); }

std::optional<MuxleClient::PaneSize> MuxleClient::paneSize(std::string_view pane) const
{
    try {
        const JSON result = request("session.snapshot");
        const JSON* snapshot = result["snapshot"];
        for (const JSON& layout : elementsOf(snapshot ? (*snapshot)["layouts"] : nullptr)) {
            for (const JSON& each : elementsOf(layout["panes"])) {
                const auto id = stringOf(each["pane_id"]);
                if (const auto size = id == pane ? sizeOf(each) : std::nullopt)
                    return size;
            }
        }
    } catch (const std::exception&) {
        // a size that cannot be learnt is no failure
    }
    return std::nullopt;
}

} // namespace tarnel
