// TarnelCore/Daemon/CommandActions.h: what each kind of command does to the machine.
#pragma once
#include "TarnelCore/Attention/AnswerGuard.h"
#include "TarnelCore/Attention/AttentionEngine.h"
#include "TarnelCore/Base/Clock.h"
#include "TarnelCore/Commands/CommandExecutor.h"
#include "TarnelCore/Daemon/Log.h"
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

/// Carries out commands for the executor, which decides when. Both operations throw what is to fail the command.
/// Thread-safety: every operation may be called from any thread; it blocks while the multiplexer works.
class CommandActions {
public:
    /// Everything outlives the actions.
    CommandActions(AttentionEngine& engine, AnswerGuard& answers, Clock& clock, const Log& log);

    /// Carries out a new command, and leaves a trace of it. A prompt for an agent at work may ask to be held.
    CommandExecutor::Outcome run(const Command& command);

    /// Carries out a command that was held.
    CommandExecutor::Outcome deliver(const Command& command);

private:
    CommandExecutor::Outcome perform(const MuxleAction& action);
    CommandExecutor::Outcome perform(const InputAction& action);
    CommandExecutor::Outcome perform(const PromptAction& action);
    CommandExecutor::Outcome perform(const AnswerAction& action);
    CommandExecutor::Outcome perform(const ShellAction& action);
    CommandExecutor::Outcome perform(const SendNowAction& action);
    void enter(const PromptAction& action, AgentKind kind);
    [[nodiscard]] std::string withImages(const std::string& text, const std::vector<CommandImage>& images) const;

    AttentionEngine& engine;
    AnswerGuard& answers;
    Clock& clock;
    const Log& log;
};

} // namespace tarnel
