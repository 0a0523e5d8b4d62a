// Tests/Simulation/AgentWorld.h: panes with agents that work, ask, take what is typed and write their records.
#pragma once
#include "Simulation/Ledger.h"
#include "Support/MuxleWorld.h"
#include "Support/TemporaryFolder.h"
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel::sim {

/// A scripted multiplexer's panes, and a small model of an agent in most of them. All of it happens in timers and in
/// what the transport hands over, so that nothing here waits.
class AgentWorld {
public:
    AgentWorld(Scheduler& scheduler, Random& random, Ledger& ledger, const TemporaryFolder& home);

    /// Starts the agents' lives.
    void begin();
    /// From now on turns end, nobody asks any more, and the user answers all that is open himself.
    void rest();

    /// Every change counts; each pane's revision tells this number, so that a snapshot tells how new it is.
    [[nodiscard]] std::int64_t version() const { return changes; }
    /// The panes as they are now.
    const MuxleWorld& panes();
    [[nodiscard]] std::vector<std::string> agentPanes() const;
    [[nodiscard]] bool has(const std::string& pane) const;

    // What the multiplexer is asked to do. Throws MuxleError for an unknown pane. `attempt` may be null: the user's.
    void pressKeys(const std::string& pane, const std::vector<std::string>& keys, Attempt* attempt);
    void type(const std::string& pane, const std::string& text, Attempt* attempt);
    void prompt(const std::string& pane, const std::string& text, Attempt* attempt);
    void close(const std::string& pane);
    void rename(const std::string& label);

    /// Called when something happens that the multiplexer reports as an event.
    std::function<void()> onEvent = [] {};

private:
    enum class Ask { question, folded, permission, plan, unrecorded, finishedAsking };
    struct Input {
        std::string text;
        bool isKey = false;
        Attempt* attempt = nullptr;
    };
    struct Agent {
        std::string pane;
        std::string kind;
        std::string session;
        std::string record; // the file's path in the home directory; empty for none
        std::uint64_t generation = 0; // timers of an earlier one are out of date
        std::size_t turn = 0;
        std::size_t calls = 0;
        Period* open = nullptr; // what it waits for
        Ask ask = Ask::question;
        bool digitMoves = false; // only, and "enter" confirms
        bool isFolded = false;
        bool isTyping = false; // into the entry for own words
        std::size_t cursor = 0;
        bool isReacting = false; // has been answered, but does not show it yet
        std::vector<Input> buffered; // typed meanwhile
        std::string box;
        std::size_t waitingPrompts = 0; // for the turn's end
    };

    Agent& agentIn(const std::string& pane);
    void later(Agent& agent, std::chrono::milliseconds delay, void (AgentWorld::*what)(Agent&));
    void show(Agent& agent);
    void setStatus(Agent& agent, const std::string& status);
    void changed(bool isEvent);
    void record(Agent& agent, const JSON& claude, const JSON& codex, const JSON& grok);
    void recordUser(Agent& agent, const std::string& text);
    void recordReply(Agent& agent, const std::string& text);
    void recordCall(Agent& agent);
    void recordResult(Agent& agent);

    void startTurn(Agent& agent);
    void endTurn(Agent& agent);
    void askSomething(Agent& agent);
    void askInstead(Agent& agent);
    void userAnswers(Agent& agent);
    void userPrompts(Agent& agent);
    void endPeriod(Agent& agent);
    void reacted(Agent& agent);
    void take(Agent& agent, const Input& input);
    void takeKey(Agent& agent, const std::string& key, Attempt* attempt);
    void takePrompt(Agent& agent, const std::string& text, Attempt* attempt);
    void choose(Agent& agent, std::size_t index, Attempt* attempt);
    void resolve(Agent& agent, const std::string& label, Attempt* attempt);
    void note(Attempt* attempt, const std::string& pane, const std::string& what);

    Scheduler& scheduler;
    Random& random;
    Ledger& ledger;
    const TemporaryFolder& home;
    MuxleWorld muxle;
    std::deque<Agent> agents;
    std::int64_t changes = 1;
    bool isResting = false;
};

} // namespace tarnel::sim
