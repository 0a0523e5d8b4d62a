#include "Simulation/AgentWorld.h"
#include "TarnelCore/Muxle/MuxleClient.h"
#include <algorithm>
#include <utility>

namespace tarnel::sim {

namespace {

using namespace std::chrono_literals;

constexpr std::string_view ownWords = "Type something.";

std::string callName(std::size_t number) { return "call" + std::to_string(number); }

JSON questions(const Period& period)
{
    JSON::Array options;
    for (const std::string& label : period.labels)
        options.push_back(JSON::object({{"label", label}}));
    return JSON::object(
        {{"questions", JSON::Array{JSON::object({{"question", period.text}, {"options", std::move(options)}})}}});
}

} // namespace

AgentWorld::AgentWorld(Scheduler& clock, Random& source, Ledger& notes, const TemporaryFolder& folder)
    : scheduler(clock)
    , random(source)
    , ledger(notes)
    , home(folder)
{
    muxle.workspaces = {{.id = "w1", .label = "project", .activeTab = "t1"}};
    muxle.tabs = {{.id = "t1", .workspace = "w1", .label = "main"}};
    MuxleWorld::Pane shell{.id = "p0", .workspace = "w1", .tab = "t1"};
    shell.isFocused = true;
    muxle.panes.push_back(shell);
    const std::vector<std::string> kinds{"claude", "codex", "grok", "gemini"};
    const std::size_t count = 2 + random.below(3);
    for (std::size_t i = 1; i <= count; ++i) {
        Agent agent{.pane = "p" + std::to_string(i), .kind = random.of(kinds)};
        agent.session = "00000000-0000-4000-8000-00000000000" + std::to_string(i);
        if (random.oneIn(6))
            agent.record = ""; // its record has not been found
        else if (agent.kind == "claude")
            agent.record = ".claude/projects/-work/" + agent.session + ".jsonl";
        else if (agent.kind == "codex")
            agent.record = ".codex/sessions/2026/03/02/rollout-2026-03-02T10-00-00-" + agent.session + ".jsonl";
        else if (agent.kind == "grok")
            agent.record = ".grok/sessions/%2Fwork/" + agent.session + "/chat_history.jsonl";
        MuxleWorld::Pane pane{.id = agent.pane, .workspace = "w1", .tab = "t1", .agent = agent.kind};
        pane.cwd = "/work";
        pane.sessionID = agent.session;
        muxle.panes.push_back(pane);
        agents.push_back(std::move(agent));
    }
}

void AgentWorld::begin()
{
    for (Agent& agent : agents) {
        recordUser(agent, "Begin");
        later(agent, random.between(0ms, 2s), random.oneIn(2) ? &AgentWorld::startTurn : &AgentWorld::endTurn);
    }
}

void AgentWorld::rest()
{
    isResting = true;
    for (Agent& agent : agents) {
        if (agent.open && !agent.isReacting)
            later(agent, random.between(100ms, 2s), &AgentWorld::userAnswers);
    }
}

const MuxleWorld& AgentWorld::panes()
{
    for (MuxleWorld::Pane& pane : muxle.panes)
        pane.revision = changes;
    return muxle;
}

std::vector<std::string> AgentWorld::agentPanes() const
{
    std::vector<std::string> found;
    for (const Agent& agent : agents)
        found.push_back(agent.pane);
    return found;
}

bool AgentWorld::has(const std::string& pane) const
{
    return std::ranges::any_of(muxle.panes, [&](const MuxleWorld::Pane& each) { return each.id == pane; });
}

AgentWorld::Agent& AgentWorld::agentIn(const std::string& pane)
{
    const auto found = std::ranges::find(agents, pane, &Agent::pane);
    if (found == agents.end() || !has(pane))
        throw MuxleError("pane_not_found", "no pane " + pane);
    return *found;
}

void AgentWorld::later(Agent& agent, std::chrono::milliseconds delay, void (AgentWorld::*what)(Agent&))
{
    const std::uint64_t generation = ++agent.generation;
    scheduler.after(delay, [this, &agent, generation, what] {
        if (agent.generation == generation && has(agent.pane))
            (this->*what)(agent);
    });
}

void AgentWorld::changed(bool isEvent)
{
    ++changes;
    ledger.tick();
    if (isEvent)
        onEvent();
}

void AgentWorld::setStatus(Agent& agent, const std::string& status)
{
    MuxleWorld::Pane& pane = muxle.pane(agent.pane);
    pane.status = status;
    ++pane.stateChangeSeq;
    ledger.isFree(agent.pane, status == "idle" || status == "done");
    ledger.trace(agent.pane, " is ", status, " #", pane.stateChangeSeq);
    show(agent);
    changed(true);
}

void AgentWorld::show(Agent& agent)
{
    MuxleWorld::Pane& pane = muxle.pane(agent.pane);
    if (!agent.open) {
        pane.screen = "Thinking of turn " + std::to_string(agent.turn) + "\n";
        return;
    }
    std::string screen = agent.open->text + "\n";
    if (agent.ask == Ask::permission || agent.ask == Ask::plan || agent.ask == Ask::finishedAsking)
        screen += agent.ask == Ask::permission ? "Do you want to proceed?\n" : "Would you like to proceed?\n";
    if (agent.isFolded)
        screen += "1 question (alt+up to answer)\n";
    else if (agent.isTyping)
        screen += "  > " + agent.box + "\n";
    else
        for (std::size_t i = 0; i < agent.open->labels.size(); ++i)
            screen += (i == agent.cursor ? "❯ " : "  ") + std::to_string(i + 1) + ". " + agent.open->labels[i] + "\n";
    pane.screen = std::move(screen);
}

// --- Records

void AgentWorld::record(Agent& agent, const JSON& claude, const JSON& codex, const JSON& grok)
{
    if (agent.record.empty())
        return;
    const JSON& line = agent.kind == "claude" ? claude : agent.kind == "codex" ? codex : grok;
    home.append(agent.record, line.serialized() + "\n");
    ledger.tick();
}

void AgentWorld::recordUser(Agent& agent, const std::string& text)
{
    const std::string now = iso8601(scheduler.now());
    record(agent, JSON::object({{"type", "user"}, {"timestamp", now}, {"message", JSON::object({{"content", text}})}}),
        JSON::object({{"type", "event_msg"}, {"timestamp", now},
            {"payload", JSON::object({{"type", "user_message"}, {"message", text}})}}),
        JSON::object({{"type", "user"}, {"content", text}}));
}

void AgentWorld::recordReply(Agent& agent, const std::string& text)
{
    const std::string now = iso8601(scheduler.now());
    const JSON::Array content{JSON::object({{"type", "text"}, {"text", text}})};
    record(agent,
        JSON::object({{"type", "assistant"}, {"timestamp", now}, {"message", JSON::object({{"content", content}})}}),
        JSON::object({{"type", "event_msg"}, {"timestamp", now},
            {"payload", JSON::object({{"type", "task_complete"}, {"last_agent_message", text}})}}),
        JSON::object({{"type", "assistant"}, {"content", text}}));
}

void AgentWorld::recordCall(Agent& agent)
{
    if (agent.ask == Ask::unrecorded || agent.ask == Ask::finishedAsking)
        return;
    const std::string now = iso8601(scheduler.now());
    const std::string id = callName(++agent.calls);
    const bool isPermission = agent.ask == Ask::permission;
    const bool isPlan = agent.ask == Ask::plan;
    const JSON command = JSON::object({{"command", agent.open->text}});
    const JSON input = isPermission ? command
        : isPlan                    ? JSON::object({{"plan", agent.open->text}})
                                    : questions(*agent.open);
    const JSON::Array use{JSON::object({{"type", "tool_use"}, {"id", id},
        {"name",
            isPermission ? "Bash"
                : isPlan ? "ExitPlanMode"
                         : "AskUserQuestion"},
        {"input", input}})};
    const std::string name = isPermission || isPlan ? "exec_command" : "request_user_input";
    record(agent,
        JSON::object({{"type", "assistant"}, {"timestamp", now}, {"message", JSON::object({{"content", use}})}}),
        JSON::object({{"type", "response_item"}, {"timestamp", now},
            {"payload",
                JSON::object(
                    {{"type", "function_call"}, {"name", name}, {"call_id", id}, {"arguments", input.serialized()}})}}),
        JSON::object({{"type", "assistant"}, {"content", ""},
            {"tool_calls",
                JSON::Array{JSON::object({{"id", id},
                    {"function",
                        JSON::object({{"name", isPermission || isPlan ? "bash" : "ask_question"},
                            {"arguments", input.serialized()}})}})}}}));
}

void AgentWorld::recordResult(Agent& agent)
{
    if (agent.ask == Ask::unrecorded || agent.ask == Ask::finishedAsking)
        return;
    const std::string now = iso8601(scheduler.now());
    const std::string id = callName(agent.calls);
    const JSON::Array result{JSON::object({{"type", "tool_result"}, {"tool_use_id", id}})};
    record(agent,
        JSON::object({{"type", "user"}, {"timestamp", now}, {"message", JSON::object({{"content", result}})}}),
        JSON::object({{"type", "response_item"}, {"timestamp", now},
            {"payload", JSON::object({{"type", "function_call_output"}, {"call_id", id}})}}),
        JSON::object({{"type", "tool_result"}, {"tool_call_id", id}}));
}

// --- An agent's life

void AgentWorld::endPeriod(Agent& agent)
{
    if (agent.open)
        agent.open->shownUntil = ledger.tick();
    agent.open = nullptr;
    agent.isFolded = agent.isTyping = agent.digitMoves = false;
    agent.cursor = 0;
}

void AgentWorld::startTurn(Agent& agent)
{
    endPeriod(agent);
    ++agent.turn;
    setStatus(agent, "working");
    later(agent, isResting ? random.between(100ms, 3s) : random.between(100ms, random.oneIn(4) ? 20s : 4s),
        &AgentWorld::endTurn);
}

void AgentWorld::endTurn(Agent& agent)
{
    if (agent.waitingPrompts > 0) {
        --agent.waitingPrompts;
        return startTurn(agent);
    }
    if (!isResting && !random.oneIn(3))
        return askSomething(agent);
    const std::string text = "Finished turn " + std::to_string(agent.turn) + " of " + agent.pane + ".";
    recordReply(agent, text);
    agent.ask = Ask::unrecorded;
    const bool isDone = !random.oneIn(3);
    agent.open =
        &ledger.open({.pane = agent.pane, .stateChangeSeq = muxle.pane(agent.pane).stateChangeSeq + 1, .text = text});
    setStatus(agent, isDone ? "done" : "idle");
    if (!isResting)
        later(agent, random.between(1s, 100s), &AgentWorld::userPrompts);
    else
        ++agent.generation;
}

void AgentWorld::askSomething(Agent& agent)
{
    constexpr Ask all[] = {Ask::question, Ask::question, Ask::folded, Ask::permission, Ask::permission, Ask::plan,
        Ask::unrecorded, Ask::finishedAsking};
    const std::string before = agent.open ? agent.open->text : "";
    const bool isInstead = agent.open != nullptr;
    endPeriod(agent);
    agent.ask = all[random.below(std::size(all))];
    // Few words, so that the same question comes again; but never twice in one state.
    std::string text;
    do
        text = std::string(agent.ask == Ask::permission ? "make target" : "Which version of") + " "
            + std::to_string(random.below(3)) + (agent.ask == Ask::plan ? " to plan?" : "?");
    while (text == before);
    std::vector<std::string> labels;
    if (agent.ask == Ask::permission)
        labels = {"Yes", "Yes, and don't ask again", "No"};
    else if (agent.ask == Ask::plan || (agent.ask == Ask::finishedAsking && random.oneIn(2)))
        labels = {"Yes, do it", "No, keep planning"};
    else if (agent.ask == Ask::unrecorded && random.oneIn(3))
        labels = {};
    else if (agent.ask != Ask::finishedAsking)
        labels = random.oneIn(2) ? std::vector<std::string>{"Red", "Green", std::string(ownWords)}
                                 : std::vector<std::string>{"Green", "Red"};
    agent.digitMoves = random.oneIn(3);
    agent.isFolded = agent.ask == Ask::folded;
    const std::string status = agent.ask == Ask::finishedAsking ? "done" : "blocked";
    const bool isSameState = isInstead && muxle.pane(agent.pane).status == status && random.oneIn(2);
    agent.open = &ledger.open({.pane = agent.pane,
        .stateChangeSeq = muxle.pane(agent.pane).stateChangeSeq + (isSameState ? 0 : 1),
        .text = text,
        .labels = labels});
    ledger.trace(agent.pane, " asks question ", agent.open->number, ": ", text);
    recordCall(agent);
    if (isSameState) {
        show(agent);
        changed(false);
    } else {
        setStatus(agent, status);
    }
    if (isResting)
        later(agent, random.between(100ms, 2s), &AgentWorld::userAnswers);
    else if (random.oneIn(3))
        later(agent, random.between(100ms, 10s), random.oneIn(3) ? &AgentWorld::userAnswers : &AgentWorld::askInstead);
    else
        ++agent.generation;
}

/// The question is taken back, and another takes its place at once.
void AgentWorld::askInstead(Agent& agent)
{
    recordResult(agent);
    askSomething(agent);
}

void AgentWorld::userAnswers(Agent& agent)
{
    if (!agent.open || agent.isReacting)
        return;
    agent.isFolded = false;
    ledger.trace("the user answers in ", agent.pane);
    resolve(agent, agent.open->labels.empty() ? "yes" : agent.open->labels.front(), nullptr);
}

void AgentWorld::userPrompts(Agent& agent)
{
    recordUser(agent, "The user goes on");
    startTurn(agent);
}

void AgentWorld::resolve(Agent& agent, const std::string& label, Attempt* attempt)
{
    if (attempt)
        ledger.landed(*agent.open, *attempt, label);
    else
        agent.open->isTouched = true;
    agent.isReacting = true;
    later(agent, random.oneIn(12) ? random.between(3s, 7s) : random.between(20ms, 900ms), &AgentWorld::reacted);
}

void AgentWorld::reacted(Agent& agent)
{
    recordResult(agent);
    agent.isReacting = false;
    agent.box.clear();
    if (!isResting && random.oneIn(4))
        askSomething(agent); // the next question follows at once
    else
        startTurn(agent);
    for (const Input& each : std::exchange(agent.buffered, {}))
        take(agent, each);
}

// --- What is typed

void AgentWorld::note(Attempt* attempt, const std::string& pane, const std::string& what)
{
    ledger.trace(pane, " gets ", what, attempt ? " by " + attempt->id : "");
    if (attempt)
        ledger.input(*attempt, pane, what);
}

void AgentWorld::pressKeys(const std::string& pane, const std::vector<std::string>& keys, Attempt* attempt)
{
    Agent& agent = agentIn(pane);
    for (const std::string& key : keys) {
        note(attempt, pane, "keys " + key);
        take(agent, {key, true, attempt});
    }
}

void AgentWorld::type(const std::string& pane, const std::string& text, Attempt* attempt)
{
    Agent& agent = agentIn(pane);
    note(attempt, pane, "text " + text);
    take(agent, {text, false, attempt});
}

void AgentWorld::take(Agent& agent, const Input& input)
{
    if (agent.isReacting)
        agent.buffered.push_back(input);
    else if (input.isKey)
        takeKey(agent, input.text, input.attempt);
    else
        agent.box += input.text;
}

void AgentWorld::takeKey(Agent& agent, const std::string& key, Attempt* attempt)
{
    const bool isAsking = agent.open && !agent.open->labels.empty() && !agent.isFolded && !agent.isTyping;
    if (agent.open && !(attempt && attempt->answer))
        agent.open->isTouched = true;
    if (key == "alt+up") {
        agent.isFolded = false;
    } else if (isAsking && key.size() == 1 && key[0] >= '1' && key[0] <= '9') {
        const auto index = static_cast<std::size_t>(key[0] - '1');
        if (index >= agent.open->labels.size())
            return;
        agent.cursor = index;
        if (!agent.digitMoves)
            choose(agent, index, attempt);
    } else if (isAsking && key == "enter") {
        choose(agent, agent.cursor, attempt);
    } else if (key == "enter" && !agent.box.empty()) {
        takePrompt(agent, std::exchange(agent.box, ""), attempt);
    }
    if (has(agent.pane) && !agent.isReacting) {
        show(agent);
        changed(false);
    }
}

void AgentWorld::choose(Agent& agent, std::size_t index, Attempt* attempt)
{
    const std::string label = agent.open->labels[index];
    if (label == ownWords)
        agent.isTyping = true;
    else
        resolve(agent, label, attempt);
}

void AgentWorld::prompt(const std::string& pane, const std::string& text, Attempt* attempt)
{
    Agent& agent = agentIn(pane);
    note(attempt, pane, "prompt " + text);
    takePrompt(agent, text, attempt);
}

void AgentWorld::takePrompt(Agent& agent, const std::string& text, Attempt* attempt)
{
    ledger.received(agent.pane, text);
    if (agent.isReacting) {
        ++agent.waitingPrompts;
        return;
    }
    const bool isWaitingForWords = agent.open && (agent.isTyping || agent.open->labels.empty());
    if (isWaitingForWords) {
        recordUser(agent, text);
        resolve(agent, text, attempt);
    } else {
        ++agent.waitingPrompts;
    }
}

void AgentWorld::close(const std::string& pane)
{
    Agent& agent = agentIn(pane);
    endPeriod(agent);
    ++agent.generation;
    std::erase_if(muxle.panes, [&](const MuxleWorld::Pane& each) { return each.id == pane; });
    ledger.isFree(pane, false);
    ledger.trace(pane, " is closed");
    changed(true);
}

void AgentWorld::rename(const std::string& label)
{
    muxle.workspaces.front().label = label;
    changed(true);
}

} // namespace tarnel::sim
