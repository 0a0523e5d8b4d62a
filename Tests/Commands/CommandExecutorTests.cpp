#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Commands/CommandExecutor.h"
#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using Words = std::vector<std::string>;

Command input(const std::string& id, const std::string& pane)
{
    return {.id = id, .action = InputAction{.pane = pane, .text = {}, .keys = {}}};
}

Command prompt(const std::string& id, const std::string& pane)
{
    return {.id = id, .action = PromptAction{.pane = pane, .text = "t", .typed = {}, .images = {}}};
}

Command close(const std::string& id, const std::string& pane)
{
    return {.id = id, .action = MuxleAction{"pane.close", {{"pane_id", pane}}}};
}

class HandClock final : public Clock {
public:
    [[nodiscard]] Timestamp now() const override { return {}; }
    [[nodiscard]] Instant elapsed() const override { return time; }
    void sleep(std::chrono::nanoseconds duration) override { time += duration; }

    Instant time = {};
};

/// An executor on queues whose tasks run when the test says so, with what it does as a list of words.
class World {
public:
    CommandExecutor::Operations operations()
    {
        return {.run = [this](const Command& command) { return outcome("run " + command.id, onRun); },
            .deliver = [this](const Command& command) { return outcome("deliver " + command.id, onDeliver); },
            .publish =
                [this] {
                    log.emplace_back("publish");
                    if (onPublish)
                        std::exchange(onPublish, nullptr)();
                }};
    }

    SerialQueueFactory factory()
    {
        return [this](const std::string& label) { return std::make_unique<Queue>(*this, label); };
    }

    void submit(const Command& command) { executor.submit(command, teller()); }

    CommandExecutor::ReplyCallback teller(const std::string& mark = "")
    {
        return [this, mark](const CommandReply& reply) {
            Words words{mark + reply.id, std::string(nameOf(reply.status))};
            if (reply.error)
                words.push_back(*reply.error);
            if (reply.result)
                words.push_back(reply.result->serialized());
            log.push_back(Text::joined(words, " "));
        };
    }

    /// Runs the tasks of one queue, or of all until nothing is left.
    void step(const std::string& label)
    {
        auto& tasks = queues.at(label);
        while (!tasks.empty()) {
            const auto task = std::move(tasks.front());
            tasks.pop_front();
            task();
        }
    }
    void stepAll()
    {
        const auto isBusy = [](const auto& entry) { return !entry.second.empty(); };
        for (auto next = queues.begin(); (next = std::ranges::find_if(queues, isBusy)) != queues.end();)
            step(std::string(next->first));
    }

    Words takeLog() { return std::exchange(log, {}); }

    std::function<CommandExecutor::Outcome()> onRun = [] { return CommandExecutor::Done{}; };
    std::function<CommandExecutor::Outcome()> onDeliver = [] { return CommandExecutor::Done{}; };
    std::function<void()> onPublish; // once
    Words log;
    HandClock clock;
    std::map<std::string, std::deque<SerialQueue::Task>> queues;
    CommandExecutor executor{operations(), factory(), clock};

private:
    class Queue final : public SerialQueue {
    public:
        Queue(World& world, std::string name)
            : world(world)
            , label(std::move(name))
        {
            world.queues[label];
        }
        ~Queue() override { world.queues.erase(label); }
        void dispatch(Task task) override { world.queues[label].push_back(std::move(task)); }
        void dispatchAfter(std::chrono::nanoseconds, Task task) override { dispatch(std::move(task)); }
        void drain() override { world.step(label); }

    private:
        World& world;
        const std::string label;
    };

    CommandExecutor::Outcome outcome(std::string word, const std::function<CommandExecutor::Outcome()>& make)
    {
        log.push_back(std::move(word));
        return make();
    }
};

constexpr auto confirmLabel = "tarneld.commands.confirm";

TEST(CommandExecutor, keepsTheOrderOfEachLane)
{
    World world;
    for (const auto& [id, pane] : {std::pair{"a", "p1"}, {"b", "p1"}, {"c", "p2"}})
        world.submit(input(id, pane));
    EXPECT_EQ(world.takeLog(), Words{});
    world.step("tarneld.commands.pane.p2");
    EXPECT_EQ(world.takeLog(), (Words{"run c", "c done"}));
    world.step("tarneld.commands.pane.p1");
    EXPECT_EQ(world.takeLog(), (Words{"run a", "a done", "run b", "b done"}));

    world.submit(input("d", "p1"));
    world.submit({.id = "e", .action = ShellAction{"x"}});
    world.submit(close("f", "p1"));
    world.step("tarneld.commands.layout"); // closing a pane waits for the pane's own lane
    EXPECT_EQ(world.takeLog(), (Words{"run e", "run d", "d done", "run f"}));
    world.step(confirmLabel);
    EXPECT_EQ(world.takeLog(), (Words{"publish", "e done", "f done"}));
}

TEST(CommandExecutor, answersWhatChangesTheSnapshotAfterAPublish)
{
    World world;
    world.onRun = [] { return CommandExecutor::Queued{JSON(7)}; };
    world.submit(prompt("a", "p1"));
    world.submit(prompt("b", "p2"));
    world.step("tarneld.commands.pane.p1");
    world.step("tarneld.commands.pane.p2");
    EXPECT_EQ(world.takeLog(), (Words{"run a", "run b"}));
    world.onPublish = [&] { // what finishes meanwhile is confirmed by another publish of the same pass
        world.submit(prompt("c", "p1"));
        world.step("tarneld.commands.pane.p1");
    };
    EXPECT_EQ(world.queues[confirmLabel].size(), 1u);
    world.step(confirmLabel);
    EXPECT_EQ(world.takeLog(), (Words{"publish", "run c", "a queued 7", "b queued 7", "publish", "c queued 7"}));
    world.submit(prompt("d", "p1")); // a new pass
    world.stepAll();
    EXPECT_EQ(world.takeLog(), (Words{"run d", "publish", "d queued 7"}));
}

TEST(CommandExecutor, answersAFailureAtOnce)
{
    World world;
    world.onRun = []() -> CommandExecutor::Outcome { throw std::runtime_error("muxle no_pane: gone"); };
    world.submit(prompt("a", "p1"));
    world.stepAll();
    EXPECT_EQ(world.takeLog(), (Words{"run a", "a failed muxle no_pane: gone"}));
    world.submit(prompt("a", "p1"));
    EXPECT_EQ(world.takeLog(), Words{"a failed muxle no_pane: gone"});
}

TEST(CommandExecutor, runsAnIdOnce)
{
    World world;
    world.submit(input("a", "p"));
    world.executor.submit(input("a", "p"), world.teller("again "));
    world.stepAll();
    EXPECT_EQ(world.takeLog(), (Words{"run a", "a done", "again a done"}));
    world.submit(input("a", "p"));
    EXPECT_EQ(world.takeLog(), Words{"a done"});

    const auto finishMore = [&](std::size_t from, std::size_t to) {
        for (std::size_t i = from; i < to; ++i)
            world.submit(input(std::to_string(i), "p"));
        world.stepAll();
        world.takeLog();
    };
    finishMore(1, CommandExecutor::remembered);
    world.submit(input("a", "p"));
    EXPECT_EQ(world.takeLog(), Words{"a done"});
    finishMore(CommandExecutor::remembered, CommandExecutor::remembered + 1);
    world.submit(input("a", "p"));
    world.stepAll();
    EXPECT_EQ(world.takeLog(), (Words{"run a", "a done"}));
}

TEST(CommandExecutor, releasesHeldPromptsOneATurn)
{
    using enum AgentStatus;
    struct Step {
        const char* what;
        std::chrono::milliseconds pause;
        std::optional<AgentStatus> status; // none: the pane is not listed
        Words log;
    };
    const Step steps[] = {
        {"at work", 0ms, working, {}},
        {"asking something else", 0ms, blocked, {}},
        {"gone for a moment", 0ms, {}, {}},
        {"free: the oldest", 0ms, idle, {"deliver a", "publish", "a done"}},
        {"not yet seen at work", 5000ms, done, {}},
        {"nor now, at the very end of the window", 5000ms, idle, {}},
        {"free for longer than a prompt takes to show", 1ms, idle, {"deliver b", "publish", "b done"}},
        {"missing meanwhile", 1ms, {}, {}},
        {"seen at work", 1ms, working, {}},
        {"free again", 1ms, done, {"deliver c", "publish", "c done"}},
        {"seen blocked", 1ms, blocked, {}},
        {"free again", 1ms, done, {"deliver d", "publish", "d done"}},
        {"nothing left", 60000ms, idle, {}},
    };
    World world;
    world.onRun = [] { return CommandExecutor::Hold{}; };
    for (const char* id : {"a", "b", "c", "d"})
        world.submit(prompt(id, "p"));
    world.submit(prompt("other", "q"));
    world.stepAll();
    EXPECT_EQ(world.takeLog(),
        (Words{"run a", "a held", "run b", "b held", "run c", "c held", "run d", "d held", "run other", "other held"}));
    EXPECT_EQ(world.executor.heldMessages("p"), (Words{"a", "b", "c", "d"}));
    for (const Step& step : steps) {
        SCOPED_TRACE(step.what);
        world.clock.time += step.pause;
        std::map<std::string, AgentStatus> statuses{{"q", blocked}};
        if (step.status)
            statuses["p"] = *step.status;
        world.executor.agentsChanged(statuses);
        world.stepAll();
        EXPECT_EQ(world.takeLog(), step.log);
    }
    EXPECT_EQ(world.executor.heldMessages("p"), Words{});
    EXPECT_EQ(world.executor.heldMessages("q"), Words{"other"});
}

TEST(CommandExecutor, releasesByNoStatusThatIsOlderThanTheHold)
{
    World world;
    world.onRun = [] { return CommandExecutor::Hold{}; };
    world.clock.sleep(1s);
    const Clock::Instant before = world.clock.elapsed();
    world.submit(prompt("a", "p"));
    world.stepAll();
    world.takeLog();
    world.executor.agentsChanged({{"p", AgentStatus::idle}}, before); // it has begun to work since
    world.stepAll();
    EXPECT_EQ(world.takeLog(), Words{});
    world.executor.agentsChanged({{"p", AgentStatus::idle}}, before + 1ms);
    world.stepAll();
    EXPECT_EQ(world.takeLog(), (Words{"deliver a", "publish", "a done"}));
}

TEST(CommandExecutor, sendsAHeldPromptNowBehindItsLane)
{
    World world;
    world.onRun = [] { return CommandExecutor::Hold{}; };
    world.onDeliver = [] { return CommandExecutor::Queued{}; };
    world.submit(prompt("a", "p"));
    world.submit(prompt("b", "p"));
    world.stepAll();
    world.takeLog();

    world.executor.submit(prompt("b", "p"), world.teller("again "));
    EXPECT_EQ(world.takeLog(), Words{"again b held"});
    world.onRun = [] { return CommandExecutor::Done{}; };
    world.submit(input("before", "p"));
    world.submit({.id = "s", .action = SendNowAction{"b"}});
    world.submit({.id = "s", .action = SendNowAction{"no such prompt"}}); // its own id is not remembered
    EXPECT_EQ(world.takeLog(), (Words{"s done", "s done"}));
    EXPECT_EQ(world.executor.heldMessages("p"), Words{"a"});
    world.stepAll();
    EXPECT_EQ(
        world.takeLog(), (Words{"run before", "before done", "deliver b", "publish", "b queued", "again b queued"}));
    world.executor.agentsChanged({{"p", AgentStatus::idle}}); // no release came before
    world.stepAll();
    EXPECT_EQ(world.takeLog(), (Words{"deliver a", "publish", "a queued"}));
}

TEST(CommandExecutor, givesUpIdleLanes)
{
    World world;
    world.submit(input("waits", "busy"));
    for (int i = 0; i < 2000; ++i) {
        const std::string pane = std::to_string(i);
        world.submit(input(pane, pane));
        world.step("tarneld.commands.pane." + pane);
    }
    EXPECT_LT(world.queues.size(), 300u);
    world.takeLog();
    world.stepAll();
    EXPECT_EQ(world.takeLog(), (Words{"run waits", "waits done"}));
}

TEST(CommandExecutor, dropsWhatHasNotStartedWhenItEnds)
{
    Mutex mutex;
    Condition changed;
    bool hasStarted = false;
    std::atomic<bool> mayEnd = false;
    std::atomic<int> runs = 0;
    std::atomic<int> answers = 0;
    const auto count = [&](const CommandReply&) { ++answers; };
    auto executor =
        std::make_unique<CommandExecutor>(CommandExecutor::Operations{.run =
                                                                          [&](const Command&) {
                                                                              ++runs;
                                                                              {
                                                                                  MutexLock lock(mutex);
                                                                                  hasStarted = true;
                                                                              }
                                                                              changed.notifyAll();
                                                                              while (!mayEnd)
                                                                                  std::this_thread::yield();
                                                                              return CommandExecutor::Done{};
                                                                          },
            .deliver = {},
            .publish = [] {}});
    executor->submit(prompt("a", "p"), count);
    executor->submit(prompt("b", "p"), count);
    executor->submit(close("c", "p"), count); // waits for the pane's lane
    {
        MutexLock lock(mutex);
        while (!hasStarted)
            changed.wait(mutex);
    }
    std::thread opener([&] { mayEnd = true; });
    executor.reset();
    opener.join();
    EXPECT_GE(runs, 1);
    EXPECT_EQ(answers, runs); // whatever has run was answered
}

TEST(CommandExecutor, servesManyThreadsAtOnce)
{
    constexpr int threadCount = 20;
    constexpr int commandCount = 100; // of each thread; all ids together are remembered
    constexpr int sharedLanes = 4;
    struct LaneState {
        std::atomic<int> inside = 0;
        std::map<int, int> last; // by thread: touched by the lane's tasks only
        std::atomic<int> faults = 0;
    };
    std::map<std::string, LaneState> lanes;
    std::vector<std::atomic<int>> runs(threadCount * commandCount);
    std::vector<std::atomic<int>> answers(threadCount * commandCount);
    Mutex mutex;
    Condition changed;
    int left = 2 * threadCount * commandCount;
    std::atomic<int> publishing = 0;
    std::atomic<int> faults = 0;

    const auto paneOfThread = [](int thread, int i) {
        std::string pane = i % 2 ? "own" : "shared";
        pane += std::to_string(i % 2 ? thread : i / 2 % sharedLanes);
        return pane;
    };
    for (int thread = 0; thread < threadCount; ++thread) {
        for (int i = 0; i < commandCount; ++i)
            lanes[paneOfThread(thread, i)];
    }
    const auto run = [&](const Command& command) -> CommandExecutor::Outcome {
        const int number = std::stoi(command.id);
        ++runs[static_cast<std::size_t>(number)];
        if (std::holds_alternative<MuxleAction>(command.action))
            return CommandExecutor::Done{};
        LaneState& lane = lanes.at(*paneOf(command.action));
        if (lane.inside.fetch_add(1) != 0)
            ++faults;
        int& last = lane.last.try_emplace(number / commandCount, -1).first->second;
        if (last >= number)
            ++faults;
        last = number;
        --lane.inside;
        if (number % 7 == 0)
            return CommandExecutor::Hold{};
        return CommandExecutor::Done{};
    };
    CommandExecutor executor({.run = run,
        .deliver = [](const Command&) { return CommandExecutor::Queued{}; },
        .publish =
            [&] {
                if (publishing.fetch_add(1) != 0)
                    ++faults;
                --publishing;
            }});
    const auto submitAll = [&](int thread) {
        for (int i = 0; i < commandCount; ++i) {
            const int number = thread * commandCount + i;
            const std::string pane = paneOfThread(thread, i);
            const std::string id = std::to_string(number);
            const Command command = i % 10 == 9 ? close(id, pane) : i % 3 ? input(id, pane) : prompt(id, pane);
            for (int copy = 0; copy < 2; ++copy) {
                executor.submit(command, [&, number](const CommandReply& reply) {
                    if (!reply.isFinal()) {
                        executor.sendNow(reply.id);
                        return;
                    }
                    ++answers[static_cast<std::size_t>(number)];
                    MutexLock lock(mutex);
                    --left;
                    changed.notifyAll();
                });
            }
        }
    };
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread)
        threads.emplace_back(submitAll, thread);
    for (std::thread& thread : threads)
        thread.join();
    {
        MutexLock lock(mutex);
        const auto deadline = std::chrono::steady_clock::now() + 60s;
        while (left > 0 && changed.waitUntil(mutex, deadline)) { }
        EXPECT_EQ(left, 0);
    }
    EXPECT_EQ(faults, 0);
    const auto isOne = [](const std::atomic<int>& count) { return count == 1; };
    const auto isTwo = [](const std::atomic<int>& count) { return count == 2; };
    EXPECT_TRUE(std::ranges::all_of(runs, isOne));
    EXPECT_TRUE(std::ranges::all_of(answers, isTwo));
}

} // namespace

} // namespace tarnel
