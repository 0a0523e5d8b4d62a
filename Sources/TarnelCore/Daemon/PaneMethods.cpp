#include "TarnelCore/Daemon/Methods.h"

namespace tarnel::Methods {

namespace {

using namespace std::chrono_literals;

constexpr std::int64_t usualScreenLines = 60;
constexpr std::chrono::nanoseconds afterTyping = 100ms; // until the pane has had the time to react

std::string sent() { return R"({"sent":true})"; }

} // namespace

std::string screen(DaemonServices& services, const Params& params)
{
    return encoded(services.engine.muxle().read(params.requiredString("pane"),
        params.string("source").value_or("visible"), params.integer("lines").value_or(usualScreenLines)));
}

std::string prompt(DaemonServices& services, const Params& params)
{
    const auto pane = params.string("pane");
    const auto text = params.string("text");
    if (!pane || !text)
        throw DaemonError::missing("pane, text");
    const JSON result = services.engine.muxle().prompt(*pane, *text);
    services.refresher.schedule(afterTyping);
    return result.serialized();
}

std::string input(DaemonServices& services, const Params& params)
{
    const MuxleClient& muxle = services.engine.muxle();
    const std::string pane = params.requiredString("pane");
    const std::string text = params.string("text").value_or("");
    const std::vector<std::string> keyNames = params.strings("keys").value_or(std::vector<std::string>());
    if (!text.empty())
        muxle.sendText(pane, text);
    if (!keyNames.empty())
        muxle.sendKeys(pane, keyNames);
    return sent();
}

std::string keys(DaemonServices& services, const Params& params)
{
    const auto pane = params.string("pane");
    const auto names = params.strings("keys");
    if (!pane || !names)
        throw DaemonError::missing("pane, keys");
    services.engine.muxle().sendKeys(*pane, *names);
    return sent();
}

std::string focus(DaemonServices& services, const Params& params)
{
    services.engine.muxle().focus(params.requiredString("pane"));
    return R"({"focused":true})";
}

std::string muxle(DaemonServices& services, const Params& params)
{
    const std::string method = params.requiredString("method");
    const JSON::Object* inner = params.object("params");
    return services.engine.muxle().request(method, inner ? *inner : JSON::Object()).serialized();
}

} // namespace tarnel::Methods
