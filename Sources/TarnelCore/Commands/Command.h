// TarnelCore/Commands/Command.h: what a client asks to be done to a machine's panes, and what it is told of it.
#pragma once
#include "TarnelCore/Attention/Answer.h"
#include "TarnelCore/JSON/Bytes.h"
#include "TarnelCore/JSON/Record.h"
#include <array>
#include <compare>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tarnel {

/// When a prompt for an agent at work is typed: after its turn, or into the running one.
enum class SendMode { afterTurn, steerNow };
constexpr auto namesOf(SendMode) { return std::array{"after_turn"sv, "steer_now"sv}; }

/// An image that goes with a prompt or an answer.
struct CommandImage {
    Bytes data;
    std::string type; ///< The media type as the client gives it.
    std::optional<std::string> name; ///< The file's name as the client gives it.

    bool operator==(const CommandImage&) const = default;
    static constexpr auto fields()
    {
        return std::tuple{
            Field{"data", &CommandImage::data}, Field{"type", &CommandImage::type}, Field{"name", &CommandImage::name}};
    }
};

/// A call of the multiplexer, passed on as it is.
struct MuxleAction {
    static constexpr std::string_view caseName = "muxle";
    std::string method;
    JSON::Object params;

    bool operator==(const MuxleAction&) const = default;
    static constexpr auto fields()
    {
        return std::tuple{Field{"method", &MuxleAction::method}, Field{"params", &MuxleAction::params}};
    }
};

/// Text to type into a pane, then keys to press there, by name.
struct InputAction {
    static constexpr std::string_view caseName = "input";
    std::string pane;
    std::optional<std::string> text;
    std::vector<std::string> keys;

    bool operator==(const InputAction&) const = default;
    static constexpr auto fields()
    {
        return std::tuple{
            Field{"pane", &InputAction::pane}, Field{"text", &InputAction::text}, Field{"keys", &InputAction::keys}};
    }
};

/// A new prompt for the agent in a pane.
struct PromptAction {
    static constexpr std::string_view caseName = "prompt";
    std::string pane;
    std::string text;
    std::optional<std::string> typed; ///< What already stands in the agent's input box.
    SendMode mode = SendMode::afterTurn;
    std::vector<CommandImage> images;

    bool operator==(const PromptAction&) const = default;
    static constexpr auto fields()
    {
        using T = PromptAction;
        return std::tuple{Field{"pane", &T::pane}, Field{"text", &T::text}, Field{"typed", &T::typed},
            Field{"mode", &T::mode}, Field{"images", &T::images}};
    }
};

/// The answer to an item of the attention queue.
struct AnswerAction {
    static constexpr std::string_view caseName = "answer";
    AnswerRequest request;
    std::vector<CommandImage> images;

    bool operator==(const AnswerAction&) const = default;
    static constexpr auto fields()
    {
        return std::tuple{Field{"_0", &AnswerAction::request}, Field{"images", &AnswerAction::images}};
    }
};

/// A shell command that the user has bound to a key of the multiplexer.
struct ShellAction {
    static constexpr std::string_view caseName = "shell";
    std::string command;

    bool operator==(const ShellAction&) const = default;
    static constexpr auto fields() { return std::tuple{Field{"command", &ShellAction::command}}; }
};

/// Delivers a held prompt now, without waiting for the turn's end.
struct SendNowAction {
    static constexpr std::string_view caseName = "sendNow";
    std::string message; ///< The id of the prompt's command.

    bool operator==(const SendNowAction&) const = default;
    static constexpr auto fields() { return std::tuple{Field{"message", &SendNowAction::message}}; }
};

using CommandAction = std::variant<MuxleAction, InputAction, PromptAction, AnswerAction, ShellAction, SendNowAction>;

/// Within a lane one command runs at a time: a pane's lane holds all that is aimed at the pane, the layout's all that
/// rearranges panes, tabs and workspaces or runs outside a pane.
struct CommandLane {
    std::optional<std::string> pane; ///< Absent: the layout's lane.
    auto operator<=>(const CommandLane&) const = default;
};

/// The pane that the action is aimed at: of a call, only the one that "pane.close" names.
std::optional<std::string> paneOf(const CommandAction& action);

/// The lanes that the action occupies, never none; it runs on the first, once those before it on the others are done.
std::vector<CommandLane> lanesOf(const CommandAction& action);

/// Whether a client sees the action's effect in a snapshot only.
bool changesSnapshot(const CommandAction& action);

/// The action in a few words, for a trace; what the user types is not in them.
std::string traceLabel(const CommandAction& action);

/// An action under the id that the client has chosen: an id that comes again is the same command.
struct Command {
    std::string id;
    CommandAction action;

    bool operator==(const Command&) const = default;
    static constexpr auto fields() { return std::tuple{Field{"id", &Command::id}, Field{"action", &Command::action}}; }
};

/// How far a command has come.
struct CommandReply {
    enum class Status {
        held, ///< Waits for its agent; another reply will follow.
        queued, ///< Handed to the agent, which takes it up after its turn.
        done,
        failed,
    };
    friend constexpr auto namesOf(Status) { return std::array{"held"sv, "queued"sv, "done"sv, "failed"sv}; }

    std::string id; ///< The command's.
    Status status = Status::held;
    std::optional<JSON> result; ///< What the action has returned.
    std::optional<std::string> error; ///< Why it failed.

    bool operator==(const CommandReply&) const = default;
    static constexpr auto fields()
    {
        using T = CommandReply;
        return std::tuple{
            Field{"id", &T::id}, Field{"status", &T::status}, Field{"result", &T::result}, Field{"error", &T::error}};
    }

    [[nodiscard]] bool isFinal() const { return status != Status::held; }
};

} // namespace tarnel
