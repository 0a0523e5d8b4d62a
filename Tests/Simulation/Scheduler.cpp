#include "Simulation/Scheduler.h"
#include <algorithm>
#include <cassert>
#include <deque>
#include <exception>

namespace tarnel::sim {

namespace {

/// One lock in so many lets others go first. All of them would, but most orders do not matter.
constexpr std::size_t lockPauses = 3;
/// And one in so many finds the machine too busy to go on for a while.
constexpr std::size_t lockDelays = 50;
constexpr std::chrono::milliseconds longestDelay{500};

} // namespace

struct Scheduler::Activity {
    Activity(Group owner, std::string label, std::function<void()> body)
        : group(owner)
        , name(std::move(label))
        , fiber(std::move(body))
    {
    }

    const Group group;
    const std::string name;
    Fiber fiber;
    bool isBlocked = false;
    bool isKilled = false;
    std::uint64_t blocks = 0; // counts; a wake-up for an earlier one is out of date
    void* task = nullptr;
};

/// A serial queue of the daemon's.
class Scheduler::Queue final : public SerialQueue {
public:
    Queue(Scheduler& owner, std::string name)
        : scheduler(owner)
        , state(std::make_shared<State>(std::move(name)))
        , life(owner.daemonDeaths)
    {
    }
    ~Queue() override
    {
        state->isStopping = true;
        // Of a killed process nobody works any more.
        while (state->isWorking && life == scheduler.daemonDeaths && scheduler.waitQuietly(state.get())) { }
    }
    void dispatch(Task task) override { dispatch(scheduler, state, std::move(task)); }
    void dispatchAfter(std::chrono::nanoseconds delay, Task task) override
    {
        if (delay <= delay.zero())
            return dispatch(std::move(task));
        scheduler.after(delay, [&scheduler = scheduler, later = std::weak_ptr(state), task = std::move(task)] {
            if (const auto there = later.lock())
                dispatch(scheduler, there, task);
        });
    }
    void drain() override
    {
        const auto isDone = std::make_shared<bool>(false);
        dispatch([&scheduler = scheduler, isDone] {
            *isDone = true;
            scheduler.wake(isDone.get());
        });
        while (!*isDone)
            scheduler.waitFor(isDone.get());
    }

private:
    struct State {
        explicit State(std::string name)
            : label(std::move(name))
        {
        }
        const std::string label;
        std::deque<Task> tasks;
        bool isWorking = false;
        bool isStopping = false;
    };

    static void dispatch(Scheduler& scheduler, const std::shared_ptr<State>& state, Task task)
    {
        if (state->isStopping)
            return;
        state->tasks.push_back(std::move(task));
        if (std::exchange(state->isWorking, true))
            return;
        scheduler.start(Group::daemon, state->label, [&scheduler, state] {
            while (!state->tasks.empty()) {
                const Task next = std::move(state->tasks.front());
                state->tasks.pop_front();
                next();
            }
            state->isWorking = false;
            scheduler.wake(state.get());
        });
    }

    Scheduler& scheduler;
    const std::shared_ptr<State> state;
    const std::uint64_t life;
};

Scheduler::Scheduler(Random& source)
    : random(source)
{
}

Scheduler::~Scheduler() = default;

void Scheduler::start(Group group, std::string name, std::function<void()> body)
{
    if (isKilled())
        return; // its process is no more
    auto guarded = [work = std::move(body)] {
        try {
            work();
        } catch (const Killed&) {
            // which is how it ends
        }
    };
    activities.push_back(std::make_shared<Activity>(group, std::move(name), std::move(guarded)));
    ready.push_back(activities.back());
}

void Scheduler::after(std::chrono::nanoseconds delay, std::function<void()> action)
{
    timers.emplace(std::pair(time + delay, timerCount++), std::move(action));
}

void Scheduler::run()
{
    struct Replaced {
        explicit Replaced(Locking* locking) { Locking::current = locking; }
        ~Replaced() { Locking::current = nullptr; }
    } const replaced(this);
    while (!isStopping) {
        if (!ready.empty()) {
            std::swap(ready[random.below(ready.size())], ready.back());
            const Shared next = std::move(ready.back());
            ready.pop_back();
            ++turnCount;
            resume(next);
        } else if (!timers.empty()) {
            const auto first = timers.begin();
            time = first->first.first;
            const auto action = std::move(first->second);
            timers.erase(first);
            action();
        } else {
            break;
        }
    }
    kill(Group::daemon);
    kill(Group::world);
    timers.clear();
}

void Scheduler::resume(const Shared& activity)
{
    const Shared before = std::exchange(running, activity);
    activity->fiber.resume();
    running = before;
    if (activity->fiber.isOver())
        std::erase(activities, activity);
}

void Scheduler::kill(Group group)
{
    if (group == Group::daemon)
        ++daemonDeaths;
    std::vector<Shared> doomed;
    std::ranges::copy_if(
        activities, std::back_inserter(doomed), [&](const Shared& each) { return each->group == group; });
    std::erase_if(activities, [&](const Shared& each) { return each->group == group; });
    std::erase_if(ready, [&](const Shared& each) { return each->group == group; });
    for (const Shared& each : doomed)
        each->isKilled = true;
    for (const Shared& each : doomed) {
        if (each->fiber.hasBegun() && each != running)
            resume(each);
    }
    const Shared killer = std::exchange(running, nullptr); // who does not wait for what else goes with them
    doomed.clear();
    running = killer;
}

std::vector<std::string> Scheduler::names(Group group) const
{
    std::vector<std::string> found;
    for (const Shared& each : activities) {
        if (each->group == group)
            found.push_back(each->name);
    }
    return found;
}

void Scheduler::throwIfKilled() const
{
    if (running && running->isKilled && std::uncaught_exceptions() == 0)
        throw Killed();
}

void Scheduler::block(const void* key, std::optional<Instant> until)
{
    assert(running && "only activities wait");
    const Shared self = running;
    if (self->isKilled)
        return;
    const Wait wait{self, ++self->blocks};
    if (key)
        waits[key].push_back(wait);
    if (until)
        after(*until - time, [this, wait] { makeReady(wait); });
    self->isBlocked = true;
    self->fiber.suspend();
}

void Scheduler::makeReady(const Wait& wait)
{
    const auto& [activity, number] = wait;
    if (!activity->isBlocked || activity->blocks != number || activity->isKilled)
        return;
    activity->isBlocked = false;
    ready.push_back(activity);
}

void Scheduler::pause()
{
    throwIfKilled();
    if (!running || running->isKilled)
        return;
    ready.push_back(running);
    running->fiber.suspend();
    throwIfKilled();
}

void Scheduler::waitFor(const void* key, std::optional<Instant> until)
{
    throwIfKilled();
    block(key, until);
    throwIfKilled();
}

bool Scheduler::waitQuietly(const void* key, std::optional<Instant> until) noexcept
{
    if (!running || running->isKilled)
        return false;
    block(key, until);
    return !running->isKilled;
}

void Scheduler::wake(const void* key) noexcept
{
    const auto found = waits.extract(key);
    if (found.empty())
        return;
    for (const Wait& each : found.mapped())
        makeReady(each);
}

bool Scheduler::isKilled() const { return running && running->isKilled; }

void*& Scheduler::task()
{
    assert(running && "only activities have a task");
    return running->task;
}

SerialQueueFactory Scheduler::queues()
{
    return [this](const std::string& label) { return std::make_unique<Queue>(*this, label); };
}

Timestamp Scheduler::now() const
{
    static const Timestamp start = *parseISO8601("2026-03-02T10:00:00Z");
    return start + std::chrono::duration_cast<Timestamp::duration>(time.time_since_epoch());
}

void Scheduler::sleep(std::chrono::nanoseconds duration)
{
    if (duration > duration.zero())
        waitFor(nullptr, time + duration);
    else
        pause();
}

void Scheduler::lock(const void* mutex)
{
    // Never throws: locks are taken in destructors, too. What is killed goes on to its next wait.
    const auto mayWait = [this] { return running && !running->isKilled; };
    if (mayWait() && random.oneIn(lockDelays)) {
        block(nullptr, time + random.between(std::chrono::milliseconds(1), longestDelay));
    } else if (mayWait() && random.oneIn(lockPauses)) {
        ready.push_back(running);
        running->fiber.suspend();
    }
    while (mayWait() && locked.contains(mutex))
        block(mutex, std::nullopt);
    locked.insert(mutex);
}

void Scheduler::unlock(const void* mutex) noexcept
{
    locked.erase(mutex);
    wake(mutex);
}

void Scheduler::wait(const void* condition, const void* mutex)
{
    throwIfKilled();
    unlock(mutex);
    block(condition, std::nullopt);
    lock(mutex);
    throwIfKilled();
}

void Scheduler::notify(const void* condition, bool isForAll) noexcept
{
    if (isForAll)
        return wake(condition);
    const auto found = waits.find(condition);
    if (found == waits.end())
        return;
    std::erase_if(
        found->second, [](const Wait& each) { return !each.first->isBlocked || each.first->blocks != each.second; });
    if (found->second.empty())
        return;
    const auto chosen = found->second.begin() + static_cast<std::ptrdiff_t>(random.below(found->second.size()));
    const Wait woken = *chosen;
    found->second.erase(chosen);
    makeReady(woken);
}

std::string Scheduler::runningName() const { return running ? running->name : "world"; }

} // namespace tarnel::sim
