// TarnelCore/Attention/AnswerGuard.h: carries an answer into its pane, once, and only while the agent still asks.
#pragma once
#include "TarnelCore/Attention/Answer.h"
#include "TarnelCore/Attention/AttentionEngine.h"
#include "TarnelCore/Attention/ScreenReading.h"
#include "TarnelCore/Base/Clock.h"
#include "TarnelCore/Base/Mutex.h"
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarnel {

/// Answers queue items: refuses what is stale, turns the answer into keys, text or a prompt, and watches the pane until
/// it changes. Answers to one pane go in one after another, so that the second of two that come together is checked
/// against what the first has left; answers to different panes don't wait for each other.
/// Thread-safety: `answer` may be called from any thread; it blocks for some seconds.
class AnswerGuard {
public:
    using Seconds = std::chrono::duration<double>;

    /// The engine and the clock outlive the guard. `settleTimeout` is how long a pane is watched after the answer.
    explicit AnswerGuard(AttentionEngine& engine, Clock& clock = Clock::system(), Seconds settleTimeout = Seconds(4));

    /// Answers an item; never throws. A repeated idempotency key whose answer went in is a duplicate, and sends nothing.
    [[nodiscard]] AnswerOutcome answer(const AnswerRequest& request) TARNEL_EXCLUDES(mutex);

private:
    class PaneTurn;
    using Menu = std::vector<ScreenReading::MenuOption>;

    [[nodiscard]] AnswerOutcome apply(const AnswerRequest& request);
    [[nodiscard]] AnswerOutcome applyToCurrent(const AnswerRequest& request, const AttentionItem& current);
    [[nodiscard]] AnswerOutcome answerInWords(const AnswerRequest& request, const AttentionItem& current, const Menu& menu);
    [[nodiscard]] std::optional<AttentionItem> currentItem(const MuxleAgent& agent);
    [[nodiscard]] Menu openMenu(const std::string& pane);
    [[nodiscard]] std::string screen(const std::string& pane) const;
    void select(const ScreenReading::MenuOption& option, const std::string& pane);
    void type(const std::string& text, const std::string& pane);
    [[nodiscard]] AnswerOutcome settle(const AttentionItem& before, const std::string& method);
    [[nodiscard]] bool hasChanged(const AttentionItem& before) const;
    [[nodiscard]] std::optional<AnswerOutcome> earlier(const AnswerRequest& request) TARNEL_EXCLUDES(mutex);
    void remember(const AnswerRequest& request, const AnswerOutcome& outcome) TARNEL_EXCLUDES(mutex);

    AttentionEngine& engine;
    Clock& clock;
    const Seconds settleTimeout;

    Mutex mutex;
    Condition turnEnded; // notified when a pane leaves `answering`
    std::map<std::string, AnswerOutcome> completed TARNEL_GUARDED_BY(mutex); // by idempotency key
    std::set<std::string> answering TARNEL_GUARDED_BY(mutex);                // panes that an answer is going into
};

} // namespace tarnel
