#include "TarnelCore/Daemon/CommandActions.h"
#include "TarnelCore/Attention/AgentPrompt.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Commands/AgentDelivery.h"
#include "TarnelCore/Daemon/DaemonError.h"
#include "TarnelCore/Daemon/FocusedPane.h"
#include "TarnelCore/Daemon/MethodTable.h"
#include "TarnelCore/Daemon/ShellRunner.h"
#include "TarnelCore/Records/Attachments.h"
#include <exception>

namespace tarnel {

namespace {

using Done = CommandExecutor::Done;
using Queued = CommandExecutor::Queued;
using Hold = CommandExecutor::Hold;

/// Stands for the focused pane's id among the parameters of a call.
const JSON focusedPlaceholder = "$focused";

bool isAtWork(const MuxleClient& muxle, const std::string& pane)
{
    try {
        return MethodTable::agentIn(muxle, pane).status == AgentStatus::working;
    } catch (const std::exception&) {
        return false;
    }
}

} // namespace

CommandActions::CommandActions(AttentionEngine& source, AnswerGuard& guard, Clock& time, const Log& lines)
    : engine(source)
    , answers(guard)
    , clock(time)
    , log(lines)
{
}

CommandExecutor::Outcome CommandActions::run(const Command& command)
{
    log.trace(clock.now(), "command " + traceLabel(command.action));
    return std::visit([&](const auto& action) { return perform(action); }, command.action);
}

CommandExecutor::Outcome CommandActions::deliver(const Command& command)
{
    const auto* prompt = std::get_if<PromptAction>(&command.action);
    if (!prompt)
        return Done{};
    const MuxleClient& muxle = engine.muxle();
    const bool steers = isAtWork(muxle, prompt->pane);
    JSON result = muxle.prompt(prompt->pane, withImages(prompt->text, prompt->images));
    if (steers)
        return Queued{std::move(result)};
    return Done{std::move(result)};
}

CommandExecutor::Outcome CommandActions::perform(const MuxleAction& action)
{
    JSON::Object params = action.params;
    std::optional<std::string> focused;
    for (const JSON::Member& member : action.params) {
        if (member.value != focusedPlaceholder)
            continue;
        if (!focused)
            focused = focusedPane(engine.muxle()).paneID;
        params[member.key] = *focused;
    }
    return Done{engine.muxle().request(action.method, params)};
}

CommandExecutor::Outcome CommandActions::perform(const InputAction& action)
{
    if (action.text && !action.text->empty())
        engine.muxle().sendText(action.pane, *action.text);
    if (!action.keys.empty())
        engine.muxle().sendKeys(action.pane, action.keys);
    return Done{};
}

CommandExecutor::Outcome CommandActions::perform(const PromptAction& action)
{
    const MuxleClient& muxle = engine.muxle();
    const MuxleAgent agent = MethodTable::agentIn(muxle, action.pane);
    if (chooseDelivery(agent.kind(), agent.status, action.mode) == AgentDelivery::hold) {
        // What the user had typed is part of the prompt by now, so the input box is cleared.
        const std::string keys = AgentPrompt::keystrokes(action.typed.value_or(""), "", agent.kind());
        if (!keys.empty())
            muxle.sendText(action.pane, keys);
        return Hold{};
    }
    enter(action, agent.kind());
    if (agent.status == AgentStatus::working)
        return Queued{};
    return Done{};
}

void CommandActions::enter(const PromptAction& action, AgentKind kind)
{
    const MuxleClient& muxle = engine.muxle();
    const std::string text = withImages(action.text, action.images);
    if (!action.typed) {
        muxle.prompt(action.pane, text);
        return;
    }
    const std::string keys = AgentPrompt::keystrokes(*action.typed, text, kind);
    if (!keys.empty())
        muxle.sendText(action.pane, keys);
    muxle.sendKeys(action.pane, {"enter"});
}

CommandExecutor::Outcome CommandActions::perform(const AnswerAction& action)
{
    AnswerRequest request = action.request;
    if (!action.images.empty())
        request.text = withImages(request.text.value_or(""), action.images);
    return Done{jsonValue(answers.answer(request))};
}

CommandExecutor::Outcome CommandActions::perform(const ShellAction& action)
{
    const MuxleClient& muxle = engine.muxle();
    const MuxleAgent pane = focusedPane(muxle);
    const JSON outcome
        = ShellRunner::run({action.command, pane.cwd, activeVariables(pane)}, muxle, processEnvironment());
    JSON::Object result = outcome.object() ? *outcome.object() : JSON::Object();
    result["focused"] = focusedPane(muxle).paneID;
    return Done{std::move(result)};
}

CommandExecutor::Outcome CommandActions::perform(const SendNowAction&)
{
    return Done{}; // the executor sees to it itself
}

/// The text, then the paths of the images, each stored as a file, on lines of their own.
std::string CommandActions::withImages(const std::string& text, const std::vector<CommandImage>& images) const
{
    std::vector<std::string> lines;
    if (!text.empty())
        lines.push_back(text);
    for (const CommandImage& image : images)
        lines.push_back(Attachments::save(
            Attachments::directory(engine.home()), image.data.content, image.type, image.name, clock.now()));
    return Text::joined(lines, "\n");
}

} // namespace tarnel
