// Tests/Simulation/Ledger.h: what really happened in a simulated world, and what must never happen in it.
#pragma once
#include "Simulation/Scheduler.h"
#include "TarnelCore/Attention/Answer.h"
#include "TarnelCore/Commands/CommandExecutor.h"
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace tarnel::sim {

/// Counts what happens, so that two things at the same time still have an order.
using Moment = std::uint64_t;
inline constexpr Moment never = std::numeric_limits<Moment>::max();

/// Something that an agent waits for: a question, or the end of its turn.
struct Period {
    std::size_t number = 0;
    std::string pane;
    std::int64_t stateChangeSeq = 0;
    std::string text; ///< Stands on the screen and in the record; unique among those with the same state change.
    std::vector<std::string> labels; ///< Of its menu, if it has one.
    Moment shownUntil = never; ///< From when on neither screen nor status nor record show it.
    bool isTouched = false; ///< Someone else than an answer has pressed keys there.
};

/// One time that the daemon carries something out: a run or a delivery of a command, or an answer.
struct Attempt {
    enum class Kind { run, deliver, answer };

    Kind kind = Kind::run;
    std::size_t life = 0; ///< Of the daemon.
    std::string id; ///< The command's; of an answer by request, its own.
    std::optional<Command> command; ///< Absent for an answer by request.
    std::optional<AnswerRequest> answer; ///< Of answers by either way.
    std::optional<std::string> pane;
    Moment began = 0;
    Moment ended = never;
    bool hasThrown = false;
    std::optional<CommandExecutor::Outcome> outcome; ///< Of commands.
    std::optional<AnswerOutcome> answered; ///< Of answers.

    // What the multiplexer saw of it.
    std::optional<Moment> agentsListed; ///< The first list of agents that it was given.
    std::optional<Moment> spacesListed; ///< When it asked for the workspaces, just before the record is read.
    Moment lastListed = 0; ///< The latest list of agents, even a failed one.
    bool isLastListFailed = false;
    std::vector<std::string> inputs; ///< All that it sent: "keys 2", "text hello", "prompt go on".
    bool isFaulty = false; ///< One of its requests was made to fail, or came late.
};

/// Notes what is done and compares it with what is allowed. The first violation is kept.
/// Everything here is told by the simulated world and by the wrappers around the daemon's parts, not by those parts.
class Ledger {
public:
    Ledger(Scheduler& scheduler, bool isTraced);

    Moment tick() { return ++moment; }
    [[nodiscard]] Moment current() const { return moment; }
    void violation(const std::string& what);
    [[nodiscard]] const std::optional<std::string>& firstViolation() const { return failure; }

    template <class... Part> void trace(const Part&... part)
    {
        if (!isTraced)
            return;
        std::ostringstream text;
        (text << ... << part);
        print(text.str());
    }

    // The world's side.
    Period& open(Period period);
    [[nodiscard]] const std::deque<Period>& periods() const { return allPeriods; }
    /// An answer attempt sends something to its pane.
    void input(Attempt& attempt, const std::string& pane, const std::string& what);
    /// What was typed takes effect in a period; `label` is the entry that was chosen, or the text that was typed.
    void landed(Period& period, const Attempt& attempt, const std::string& label);
    /// An agent receives a prompt.
    void received(const std::string& pane, const std::string& text);
    /// A refresh asks for its lists.
    void listingBegan() { listings.push_back(tick()); }
    /// The agent of the pane has become free, or is so no longer.
    void isFree(const std::string& pane, bool isSo);

    // The daemon's side.
    [[nodiscard]] std::size_t life() const { return lifeNumber; }
    void daemonStarted();
    void daemonEnded() { ++lifeNumber; } ///< What was under way never ends.
    Attempt& begin(Attempt attempt);
    void end(Attempt& attempt);
    void submitting(const Command& command); ///< Before the executor is given the command,
    void submitted(const std::string& id); ///< and after.
    /// A reply on its way to a client.
    void replied(const CommandReply& reply);
    /// The snapshots before this version of the world have been pushed to every subscriber.
    void published(std::int64_t version) { publishedVersion = std::max(publishedVersion, version); }
    [[nodiscard]] std::int64_t lastPublished() const { return publishedVersion; }

    // The client's side.
    /// Which period the user answers who was shown the item.
    [[nodiscard]] const Period* meant(const AttentionItem& item, const std::string& encodedItem) const;
    void means(const std::string& id, const Period* period) { intentions[id] = period; }
    [[nodiscard]] const Period* intention(const std::string& id) const;

    /// How often each kind of thing happened, to show that all of it did.
    std::map<std::string, std::size_t> counts;

private:
    struct Submission {
        Command command;
        Moment before = 0; // its first submission
        Moment after = never;
        Attempt* run = nullptr;
        Attempt* delivery = nullptr;
        std::optional<CommandReply> reply; // the final one
    };
    using Key = std::pair<std::size_t, std::string>; // life and id

    void print(const std::string& text);
    void checkFirstInput(const Attempt& attempt);
    void checkInputs(const Attempt& attempt);
    void checkAnswer(const Attempt& attempt);
    void checkOrder(const Submission& submission);
    void checkDelivery(const Submission& submission);
    void checkFinal(const Submission& submission, const CommandReply& reply);
    [[nodiscard]] const Period* intention(const Attempt& attempt) const { return intention(attempt.id); }

    Scheduler& scheduler;
    const bool isTraced;
    Moment moment = 0;
    std::optional<std::string> failure;
    std::deque<Period> allPeriods;
    std::deque<Attempt> attempts;
    std::map<std::string, const Period*> intentions; // by the attempt's id
    std::map<std::string, std::size_t> receipts; // by the prompt's mark
    std::map<std::string, Moment> lastFree; // by pane; `never` while it is free
    std::map<Key, Submission> submissions;
    std::set<Key> sentNow;
    std::vector<Moment> listings; // when refreshes began
    std::size_t lifeNumber = 0;
    std::int64_t publishedVersion = 0;
};

/// The mark that begins every prompt's or answer's text, by which it is known again: "P12." of "P12. Go on".
std::string markOf(const std::string& text);

} // namespace tarnel::sim
