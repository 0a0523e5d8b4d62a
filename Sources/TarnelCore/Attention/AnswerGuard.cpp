#include "TarnelCore/Attention/AnswerGuard.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <exception>
#include <utility>

namespace tarnel {

namespace {

using namespace std::chrono_literals;

constexpr std::int64_t screenLines = 60;
// How long the agents take to draw what a key brings up.
constexpr std::chrono::nanoseconds questionOpens = 500ms;
constexpr std::chrono::nanoseconds textEntryOpens = 400ms;
constexpr std::chrono::nanoseconds menuCloses = 350ms;
constexpr std::chrono::nanoseconds settleInterval = 250ms;

/// The choice and the text, those that are given, on lines of their own.
std::string words(const AnswerRequest& request)
{
    std::vector<std::string> given;
    for (const auto& part : {request.choice, request.text}) {
        if (part)
            given.push_back(*part);
    }
    return Text::joined(given, "\n");
}

AnswerFailed noOption(const std::string& choice, const std::vector<ScreenReading::MenuOption>& menu)
{
    std::vector<std::string> labels;
    for (const auto& option : menu)
        labels.push_back(option.label);
    return {"no menu option matches \"" + choice + "\" (menu: " + Text::joined(labels, " / ") + ")"};
}

const MuxleAgent* agentIn(const std::vector<MuxleAgent>& agents, const std::string& pane)
{
    const auto found
        = std::find_if(agents.begin(), agents.end(), [&](const MuxleAgent& agent) { return agent.paneID == pane; });
    return found == agents.end() ? nullptr : &*found;
}

} // namespace

/// Waits until no other answer goes into the pane, and keeps others out while it lives.
class AnswerGuard::PaneTurn {
public:
    PaneTurn(AnswerGuard& owner, std::string wanted)
        : guard(owner)
        , pane(std::move(wanted))
    {
        MutexLock lock(guard.mutex);
        while (!guard.answering.insert(pane).second)
            guard.turnEnded.wait(guard.mutex);
    }
    ~PaneTurn()
    {
        {
            MutexLock lock(guard.mutex);
            guard.answering.erase(pane);
        }
        guard.turnEnded.notifyAll();
    }
    PaneTurn(const PaneTurn&) = delete;
    PaneTurn& operator=(const PaneTurn&) = delete;

private:
    AnswerGuard& guard;
    const std::string pane;
};

AnswerGuard::AnswerGuard(AttentionEngine& source, Clock& time, Seconds timeout)
    : engine(source)
    , clock(time)
    , settleTimeout(timeout)
{
}

AnswerOutcome AnswerGuard::answer(const AnswerRequest& request)
{
    if (auto before = earlier(request))
        return duplicate(*std::move(before));
    const PaneTurn turn(*this, request.fingerprint.paneID);
    if (auto meanwhile = earlier(request))
        return duplicate(*std::move(meanwhile));
    AnswerOutcome outcome = apply(request);
    remember(request, outcome);
    return outcome;
}

std::optional<AnswerOutcome> AnswerGuard::earlier(const AnswerRequest& request)
{
    if (!request.idempotencyKey)
        return std::nullopt;
    MutexLock lock(mutex);
    const auto found = completed.find(*request.idempotencyKey);
    return found == completed.end() ? std::nullopt : std::optional(found->second);
}

void AnswerGuard::remember(const AnswerRequest& request, const AnswerOutcome& outcome)
{
    // What sent nothing is not remembered, so that it can be tried again under the same key.
    if (!request.idempotencyKey || !(succeeded(outcome) || std::holds_alternative<AnswerUnverified>(outcome)))
        return;
    MutexLock lock(mutex);
    completed.insert_or_assign(*request.idempotencyKey, outcome);
}

AnswerOutcome AnswerGuard::apply(const AnswerRequest& request)
{
    std::vector<MuxleAgent> agents;
    try {
        agents = engine.muxle().agents();
    } catch (const std::exception&) {
        return AnswerNotFound{};
    }
    const MuxleAgent* agent = agentIn(agents, request.fingerprint.paneID);
    if (!agent)
        return AnswerNotFound{};
    const std::optional<AttentionItem> current = currentItem(*agent);
    if (!current)
        return AnswerStale{};
    if (current->fingerprint != request.fingerprint)
        return AnswerStale{current->fingerprint};
    try {
        return applyToCurrent(request, *current);
    } catch (const std::exception& error) {
        return AnswerFailed{error.what()};
    }
}

std::optional<AttentionItem> AnswerGuard::currentItem(const MuxleAgent& agent)
{
    std::vector<MuxleWorkspace> workspaces;
    try {
        workspaces = engine.muxle().workspaces();
    } catch (const std::exception&) {
        // Only the name of the space is lost.
    }
    PaneScreens screens(engine.muxle(), agent.paneID);
    return engine.item(agent, AttentionEngine::spaceName(agent, workspaces), screens);
}

AnswerOutcome AnswerGuard::applyToCurrent(const AnswerRequest& request, const AttentionItem& current)
{
    const std::string& pane = request.fingerprint.paneID;
    if (current.kind == AttentionKind::finished) {
        const std::string text = words(request);
        if (text.empty())
            return AnswerFailed{"nothing to send"};
        engine.muxle().prompt(pane, text);
        return settle(current, "prompt");
    }
    const Menu menu = openMenu(pane);
    if (!request.choice)
        return answerInWords(request, current, menu);
    if (const auto option = ScreenReading::option(*request.choice, current.kind, menu)) {
        select(*option, pane);
        if (request.text && !request.text->empty()) {
            clock.sleep(textEntryOpens);
            type(*request.text, pane);
        }
        return settle(current, "menu " + std::to_string(option->number));
    }
    if (!menu.empty() || current.card.status == AgentStatus::blocked)
        return noOption(*request.choice, menu);
    engine.muxle().prompt(pane, words(request));
    return settle(current, "prompt");
}

AnswerOutcome AnswerGuard::answerInWords(const AnswerRequest& request, const AttentionItem& current, const Menu& menu)
{
    if (!request.text || request.text->empty())
        return AnswerFailed{"empty answer"};
    const std::string& pane = request.fingerprint.paneID;
    if (const auto option = ScreenReading::freeTextOption(menu)) {
        select(*option, pane);
        clock.sleep(textEntryOpens);
    }
    type(*request.text, pane);
    return settle(current, "text");
}

/// The menu on the pane's screen, after a question that is folded away has been brought back.
AnswerGuard::Menu AnswerGuard::openMenu(const std::string& pane)
{
    const std::string shown = screen(pane);
    Menu menu = ScreenReading::menu(shown);
    if (!menu.empty())
        return menu;
    const auto keys = ScreenReading::openQuestionKeys(shown);
    if (!keys)
        return menu;
    engine.muxle().sendKeys(pane, *keys);
    clock.sleep(questionOpens);
    return ScreenReading::menu(screen(pane));
}

std::string AnswerGuard::screen(const std::string& pane) const
{
    return engine.muxle().read(pane, "visible", screenLines);
}

void AnswerGuard::select(const ScreenReading::MenuOption& option, const std::string& pane)
{
    engine.muxle().sendKeys(pane, {std::to_string(option.number)});
    clock.sleep(menuCloses);
    const Menu after = ScreenReading::menu(screen(pane));
    const bool isStillThere = std::any_of(after.begin(), after.end(),
        [&](const auto& each) { return each.number == option.number && each.label == option.label; });
    if (isStillThere) // the digit only moved the cursor
        engine.muxle().sendKeys(pane, {"enter"});
}

void AnswerGuard::type(const std::string& text, const std::string& pane)
{
    engine.muxle().sendText(pane, text);
    engine.muxle().sendKeys(pane, {"enter"});
}

AnswerOutcome AnswerGuard::settle(const AttentionItem& before, const std::string& method)
{
    const Clock::Instant deadline = clock.elapsed() + std::chrono::duration_cast<Clock::Instant::duration>(settleTimeout);
    while (clock.elapsed() < deadline) {
        clock.sleep(settleInterval);
        if (hasChanged(before))
            return AnswerApplied{method};
    }
    return AnswerUnverified{method};
}

/// Whether the pane has gone, works, or has changed its state since.
bool AnswerGuard::hasChanged(const AttentionItem& before) const
{
    try {
        const std::vector<MuxleAgent> agents = engine.muxle().agents();
        const MuxleAgent* agent = agentIn(agents, before.fingerprint.paneID);
        return !agent || agent->stateChangeSeq != before.stateChangeSeq || agent->status == AgentStatus::working;
    } catch (const std::exception&) {
        return true;
    }
}

} // namespace tarnel
