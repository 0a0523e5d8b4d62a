// Tests/Simulation/Scheduler.h: activities that take turns on one thread, in simulated time.
#pragma once
#include "Simulation/Fiber.h"
#include "Simulation/Random.h"
#include "TarnelCore/Base/Clock.h"
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Base/SerialQueue.h"
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tarnel::sim {

/// Runs activities, each as if on a thread of its own. One goes on until it sleeps, waits or is about to lock; who goes
/// on then is chosen at random. Since what is done under a lock is seen by others as one step, these are all the
/// orders that threads could show. Time stands still while anyone has something to do, then it jumps.
/// Thread-safety: none; made, run and destroyed by one thread.
class Scheduler final : public Clock, public Locking {
public:
    /// Activities belong to the daemon's process, which may be killed, or to the world around it.
    enum class Group { world, daemon };

    /// Thrown in killed activities, so that nothing they hold leaks. No std::exception, so that nobody takes it for a
    /// failure.
    struct Killed { };

    explicit Scheduler(Random& random);
    ~Scheduler() override;
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    void start(Group group, std::string name, std::function<void()> body);
    /// Does something of the world's at a time; `action` neither waits nor locks.
    void after(std::chrono::nanoseconds delay, std::function<void()> action);

    /// Runs until `stop`, or until nobody can ever go on any more.
    void run();
    void stop() { isStopping = true; }

    /// Ends all activities of the group where they are: none takes another step of its own.
    void kill(Group group);
    [[nodiscard]] std::vector<std::string> names(Group group) const;

    // For activities.
    void pause(); ///< Lets others go on.
    /// Waits for a `wake` with the same key; returns early at `until`.
    void waitFor(const void* key, std::optional<Instant> until = std::nullopt);
    /// The same where nothing may be thrown: returns false, and at once, when the activity is killed.
    bool waitQuietly(const void* key, std::optional<Instant> until = std::nullopt) noexcept;
    void wake(const void* key) noexcept;
    [[nodiscard]] bool isKilled() const;

    /// What the running activity works on; null at first. For the use of others.
    [[nodiscard]] void*& task();

    /// Queues whose tasks run as activities of the daemon.
    [[nodiscard]] SerialQueueFactory queues();

    [[nodiscard]] Timestamp now() const override;
    [[nodiscard]] Instant elapsed() const override { return time; }
    void sleep(std::chrono::nanoseconds duration) override;

    void lock(const void* mutex) override;
    void unlock(const void* mutex) noexcept override;
    void wait(const void* condition, const void* mutex) override;
    void notify(const void* condition, bool isForAll) noexcept override;

    /// How often it was chosen who goes on.
    [[nodiscard]] std::uint64_t turns() const { return turnCount; }
    /// The activity that runs; "world" when none does.
    [[nodiscard]] std::string runningName() const;

private:
    struct Activity;
    class Queue;
    using Shared = std::shared_ptr<Activity>;
    using Wait = std::pair<Shared, std::uint64_t>; // for one of the activity's blocks

    void block(const void* key, std::optional<Instant> until);
    void resume(const Shared& activity);
    void makeReady(const Wait& wait);
    void throwIfKilled() const;

    Random& random;
    Instant time{};
    std::uint64_t turnCount = 0;
    bool isStopping = false;
    Shared running;
    std::vector<Shared> activities; // in the order in which they were started, those that are over left out
    std::vector<Shared> ready;
    std::map<const void*, std::vector<Wait>> waits; // by key
    std::map<std::pair<Instant, std::uint64_t>, std::function<void()>> timers; // the number keeps them in order
    std::uint64_t timerCount = 0;
    std::set<const void*> locked;
    std::uint64_t daemonDeaths = 0; // how often the daemon was killed
};

} // namespace tarnel::sim
