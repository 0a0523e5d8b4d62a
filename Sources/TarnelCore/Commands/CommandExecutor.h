// TarnelCore/Commands/CommandExecutor.h: runs clients' commands in order, each once, and answers them.
#pragma once
#include "TarnelCore/Base/Clock.h"
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Base/SerialQueue.h"
#include "TarnelCore/Commands/Command.h"
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tarnel {

/// Runs the commands of a lane one after another, lanes side by side. Holds prompts until their agent is free, answers
/// a command that changes the snapshot only once a snapshot has been published, and runs an id that comes again once.
/// Thread-safety: every operation may be called from any thread, also from inside the operations and callbacks; none is
/// called with a lock held.
/// Lifetime: the destructor waits for commands that are running, and answers those that have run. Those that wait in a
/// lane or are held are dropped without an answer, so that their clients send them again. Never destroy an executor
/// from one of its own operations or callbacks.
class CommandExecutor {
public:
    struct Done {
        std::optional<JSON> result = {};
    };
    struct Queued {
        std::optional<JSON> result = {};
    };
    struct Hold { };
    /// What became of an action: it is complete, the agent has it and takes it up after its turn, or it must wait until
    /// the agent is free.
    using Outcome = std::variant<Done, Queued, Hold>;
    using Operation = std::function<Outcome(const Command&)>;

    /// Called once for each reply, from any thread: perhaps for `held`, at last for the final one. It must not throw.
    using ReplyCallback = std::function<void(const CommandReply&)>;

    struct Operations {
        Operation run; ///< Carries out a new command; what it throws fails the command.
        Operation deliver; ///< The same for a command that was held.
        std::function<void()> publish; ///< Builds and publishes a new snapshot; never twice at once. It must not throw.
    };

    explicit CommandExecutor(
        Operations operations, SerialQueueFactory makeQueue = ThreadQueue::make, Clock& clock = Clock::system());
    ~CommandExecutor();
    CommandExecutor(const CommandExecutor&) = delete;
    CommandExecutor& operator=(const CommandExecutor&) = delete;

    /// Takes a command and returns at once.
    void submit(Command command, ReplyCallback reply) TARNEL_EXCLUDES(mutex);

    /// Releases, for each pane whose agent has become free, the prompt that was held first. The next one follows when
    /// the agent has been seen at work in between, or after 10 seconds: a prompt takes a moment to show.
    /// `asked` is when the statuses were asked for: they tell nothing of the agents of prompts that were held after it.
    void agentsChanged(const std::map<std::string, AgentStatus>& statuses, Clock::Instant asked = Clock::Instant::max())
        TARNEL_EXCLUDES(mutex);

    /// Releases the held prompt of the command `id` whatever its agent does. Nothing happens to any other id.
    void sendNow(std::string_view id) TARNEL_EXCLUDES(mutex);

    /// The ids of the prompts that are held for the pane, oldest first.
    [[nodiscard]] std::vector<std::string> heldMessages(const std::string& pane) const TARNEL_EXCLUDES(mutex);

    /// So many final replies are remembered for ids that come again.
    static constexpr std::size_t remembered = 2000;

private:
    using SharedCommand = std::shared_ptr<const Command>;
    using Queues = std::vector<std::unique_ptr<SerialQueue>>;

    struct Held {
        SharedCommand command;
        Clock::Instant since;
    };
    struct Lane {
        std::unique_ptr<SerialQueue> queue;
        std::size_t users = 0; // jobs that may still touch the queue
    };
    struct Job {
        SharedCommand command;
        const Operation* operation = nullptr;
        std::vector<CommandLane> lanes = {};
        std::vector<SerialQueue*> queues = {}; // of `lanes`; they stay until the job is over
    };

    /// `retired` takes queues that nobody uses any more; the caller destroys them without the lock.
    Job makeJob(SharedCommand command, const Operation& operation, std::vector<CommandLane> occupied, Queues& retired)
        TARNEL_REQUIRES(mutex);
    Lane& laneFor(const CommandLane& wanted, Queues& retired) TARNEL_REQUIRES(mutex);
    void start(Job job) TARNEL_EXCLUDES(mutex);
    void perform(const Job& job) TARNEL_EXCLUDES(mutex);
    void carryOut(const SharedCommand& command, const Operation& operation) TARNEL_EXCLUDES(mutex);
    void hold(const SharedCommand& command) TARNEL_EXCLUDES(mutex);
    void confirmAfterUpdate(CommandReply reply) TARNEL_EXCLUDES(mutex);
    void confirm() TARNEL_EXCLUDES(mutex);
    void finish(CommandReply reply) TARNEL_EXCLUDES(mutex);
    [[nodiscard]] bool hasStopped() const TARNEL_EXCLUDES(mutex);
    [[nodiscard]] bool isHeld(std::string_view id) const TARNEL_REQUIRES(mutex);

    const Operations operations;
    const SerialQueueFactory makeQueue;
    Clock& clock;

    mutable Mutex mutex;
    bool isStopping TARNEL_GUARDED_BY(mutex) = false;
    std::map<CommandLane, Lane> lanes TARNEL_GUARDED_BY(mutex);
    std::map<std::string, std::vector<ReplyCallback>, std::less<>> waiting TARNEL_GUARDED_BY(mutex); // by command id
    std::map<std::string, std::shared_ptr<const CommandReply>, std::less<>> finished TARNEL_GUARDED_BY(mutex);
    std::deque<std::string> finishedOrder TARNEL_GUARDED_BY(mutex); // the ids of `finished`, oldest first
    std::map<std::string, std::deque<Held>> held TARNEL_GUARDED_BY(mutex); // by pane, none empty
    std::map<std::string, Clock::Instant> released TARNEL_GUARDED_BY(mutex); // by pane, its last release
    std::vector<CommandReply> unconfirmed TARNEL_GUARDED_BY(mutex); // they wait for the next snapshot
    bool isConfirming TARNEL_GUARDED_BY(mutex) = false;

    std::unique_ptr<SerialQueue> confirmQueue; // constant until the destructor
};

} // namespace tarnel
