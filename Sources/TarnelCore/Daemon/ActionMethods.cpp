#include "TarnelCore/Attention/AgentPrompt.h"
#include "TarnelCore/Base/Base64.h"
#include "TarnelCore/Daemon/Methods.h"
#include "TarnelCore/Daemon/ShellRunner.h"
#include "TarnelCore/Records/Attachments.h"

namespace tarnel::Methods {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::nanoseconds afterAnswering = 100ms; // until the pane has had the time to react
constexpr std::int64_t promptLines = 40;
constexpr std::string_view activePrefix = "MUXLE_ACTIVE_";

/// Of the variables that a client sends, those that tell what the user looks at.
Environment activeAmong(const JSON::Object* variables)
{
    Environment active;
    if (!variables)
        return active;
    for (const JSON::Member& variable : *variables) {
        if (const std::string* value = variable.value.string(); value && variable.key.starts_with(activePrefix))
            active.emplace(variable.key, *value);
    }
    return active;
}

} // namespace

std::string answer(DaemonServices& services, const Params& params)
{
    const AnswerOutcome outcome = services.answers.answer(decode<AnswerRequest>(JSON(params.all())));
    services.refresher.schedule(afterAnswering);
    return encoded(outcome);
}

std::string attach(DaemonServices& services, const Params& params)
{
    const auto text = params.string("data");
    const auto data = text ? decodeBase64(*text) : std::nullopt;
    if (!data)
        throw DaemonError::missing("data");
    const std::string path = Attachments::save(Attachments::directory(services.engine.home()), *data,
        params.string("type").value_or("png"), params.string("name"), services.clock.now());
    return JSON::object({{"path", path}}).serialized();
}

std::string runCommand(DaemonServices& services, const Params& params)
{
    const auto command = params.string("command");
    if (!command || command->empty())
        throw DaemonError::missing("command");
    return ShellRunner::run({*command, params.string("cwd"), activeAmong(params.object("env"))},
        services.engine.muxle(), processEnvironment())
        .serialized();
}

std::string agentPrompt(DaemonServices& services, const Params& params)
{
    const std::string screen
        = services.engine.muxle().read(params.requiredString("pane"), "recent_unwrapped", promptLines, "ansi");
    return encoded(AgentPrompt::read(screen, agentKind(params.string("kind").value_or(""))));
}

} // namespace tarnel::Methods
