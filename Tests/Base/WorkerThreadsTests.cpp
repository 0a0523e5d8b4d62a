#include "Support/Eventually.h"
#include "TarnelCore/Base/WorkerThreads.h"
#include <atomic>
#include <gtest/gtest.h>
#include <set>

namespace tarnel {

namespace {

/// Opens once so many threads stand before it.
class Gate {
public:
    explicit Gate(int threads)
        : missing(threads)
    {
    }
    void pass()
    {
        MutexLock lock(mutex);
        --missing;
        changed.notifyAll();
        while (missing > 0)
            changed.wait(mutex);
    }

private:
    Mutex mutex;
    Condition changed;
    int missing TARNEL_GUARDED_BY(mutex);
};

TEST(WorkerThreads, runEveryTaskAtOnceAndKeepTheirThreads)
{
    Mutex mutex;
    std::set<std::thread::id> first;
    std::set<std::thread::id> later;
    WorkerThreads workers("test.workers");
    const auto runRound = [&](std::set<std::thread::id>& threads, Gate& gate, std::size_t tasks) {
        for (std::size_t i = 0; i < tasks; ++i) {
            workers.run([&] {
                gate.pass(); // only when all of them run at once
                MutexLock lock(mutex);
                threads.insert(std::this_thread::get_id());
            });
        }
    };
    Gate firstGate(9);
    runRound(first, firstGate, 8);
    firstGate.pass();
    const auto count = [&](const std::set<std::thread::id>& threads) {
        MutexLock lock(mutex);
        return threads.size();
    };
    EXPECT_TRUE(eventually([&] { return count(first) == 8; }));
    Gate secondGate(9);
    runRound(later, secondGate, 8);
    secondGate.pass();
    EXPECT_TRUE(eventually([&] { return count(later) == 8; }));
}

TEST(WorkerThreads, theDestructorWaitsForTheTasks)
{
    std::atomic<int> ran = 0;
    {
        WorkerThreads workers("test.workers");
        for (int i = 0; i < 100; ++i)
            workers.run([&] { ++ran; });
    }
    EXPECT_EQ(ran, 100);
}

} // namespace

} // namespace tarnel
