#include "TarnelCore/Commands/Command.h"
#include "TarnelCore/Base/Text.h"
#include <type_traits>

namespace tarnel {

namespace {

template <class... Visit> struct Overloaded : Visit... {
    using Visit::operator()...;
};
template <class... Visit>
Overloaded(Visit...) -> Overloaded<Visit...>; // which clang 16 does not deduce by itself

} // namespace

std::optional<std::string> paneOf(const CommandAction& action)
{
    return std::visit(
        Overloaded{
            [](const MuxleAction& call) -> std::optional<std::string> {
                return call.method == "pane.close" ? stringOf(call.params.find("pane_id")) : std::nullopt;
            },
            [](const InputAction& input) -> std::optional<std::string> { return input.pane; },
            [](const PromptAction& prompt) -> std::optional<std::string> { return prompt.pane; },
            [](const AnswerAction& answer) -> std::optional<std::string> { return answer.request.fingerprint.paneID; },
            [](const auto&) -> std::optional<std::string> { return std::nullopt; },
        },
        action);
}

std::vector<CommandLane> lanesOf(const CommandAction& action)
{
    std::vector<CommandLane> lanes;
    const std::optional<std::string> pane = paneOf(action);
    if (!pane || std::holds_alternative<MuxleAction>(action))
        lanes.emplace_back();
    if (pane)
        lanes.push_back({*pane});
    return lanes;
}

bool changesSnapshot(const CommandAction& action)
{
    return !std::holds_alternative<InputAction>(action) && !std::holds_alternative<SendNowAction>(action);
}

std::string traceLabel(const CommandAction& action)
{
    const auto characters = [](std::string_view text) { return std::to_string(Text::characterCount(text)) + " chars"; };
    return std::visit(Overloaded{
                          [](const MuxleAction& call) { return "muxle " + call.method + " " + encoded(call.params); },
                          [&](const InputAction& input) {
                              return "input " + input.pane + " " + characters(input.text.value_or("")) + " keys "
                                  + encoded(input.keys);
                          },
                          [&](const PromptAction& prompt) {
                              return "prompt " + prompt.pane + " " + characters(prompt.text) + " "
                                  + std::string(nameOf(prompt.mode));
                          },
                          [](const AnswerAction& answer) { return "answer " + answer.request.fingerprint.paneID; },
                          [](const ShellAction&) -> std::string { return "shell"; },
                          [](const SendNowAction&) -> std::string { return "send now"; },
                      },
        action);
}

} // namespace tarnel
