#include "TarnelCore/Base/SerialQueue.h"
#include <gtest/gtest.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;

TEST(ThreadQueue, runsInOrderAndNeverTwoAtOnce)
{
    std::vector<int> order; // touched only by the queue's tasks, and after it is gone
    std::atomic<int> inside = 0;
    bool overlapped = false;
    {
        ThreadQueue queue("test.order");
        for (int i = 0; i < 100; ++i) {
            queue.dispatch([&, i] {
                overlapped |= inside.fetch_add(1) != 0;
                order.push_back(i);
                if (i == 99)
                    queue.dispatch([&] { order.push_back(1000); }); // from inside a task
                --inside;
            });
        }
        queue.drain();
    }
    EXPECT_FALSE(overlapped);
    ASSERT_EQ(order.size(), 101u);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(ThreadQueue, delaysATaskAndDropsItWhenTheQueueEnds)
{
    std::vector<std::string> ran;
    bool isDropped = true;
    {
        ThreadQueue queue("test.delay");
        Mutex mutex;
        Condition later;
        bool isLate = false;
        queue.dispatchAfter(20ms, [&] {
            ran.emplace_back("late");
            MutexLock lock(mutex);
            isLate = true;
            later.notifyAll();
        });
        queue.dispatchAfter(0ns, [&] { ran.emplace_back("now"); });
        queue.dispatchAfter(1h, [&] { isDropped = false; });
        MutexLock lock(mutex);
        while (!isLate)
            later.wait(mutex);
    }
    EXPECT_EQ(ran, (std::vector<std::string>{"now", "late"}));
    EXPECT_TRUE(isDropped);
}

} // namespace

} // namespace tarnel
