#include "TarnelCore/Base/WorkerThreads.h"
#include "TarnelCore/Base/Thread.h"
#include <algorithm>
#include <chrono>

namespace tarnel {

namespace {

/// How long a thread without a task stays.
constexpr std::chrono::seconds linger{10};

} // namespace

WorkerThreads::WorkerThreads(std::string label)
    : name(std::move(label))
{
}

WorkerThreads::~WorkerThreads()
{
    for (;;) { // a task that is waited for may still run another
        std::list<std::thread> last;
        {
            MutexLock lock(mutex);
            isStopping = true;
            last.swap(threads);
        }
        changed.notifyAll();
        if (last.empty())
            return;
        for (std::thread& thread : last)
            thread.join();
    }
}

void WorkerThreads::run(Task task)
{
    MutexLock lock(mutex);
    joinEnded();
    if (idle > 0)
        --idle;
    else
        threads.emplace_back([this] { work(); });
    waiting.push_back(std::move(task)); // last: it cannot be lost when no thread could be started
    changed.notifyOne();
}

void WorkerThreads::joinEnded()
{
    for (const std::thread::id id : ended) {
        const auto thread
            = std::find_if(threads.begin(), threads.end(), [&](const std::thread& each) { return each.get_id() == id; });
        if (thread == threads.end())
            continue;
        thread->join();
        threads.erase(thread);
    }
    ended.clear();
}

WorkerThreads::Task WorkerThreads::next()
{
    MutexLock lock(mutex);
    const auto giveUp = std::chrono::steady_clock::now() + linger;
    for (;;) {
        if (!waiting.empty()) {
            Task task = std::move(waiting.front());
            waiting.pop_front();
            return task;
        }
        // A promised task is in `waiting` already: whoever promises it takes one from `idle` under the same lock.
        if (isStopping || std::chrono::steady_clock::now() >= giveUp) {
            if (idle > 0)
                --idle;
            ended.push_back(std::this_thread::get_id());
            return {};
        }
        changed.waitUntil(mutex, giveUp);
    }
}

void WorkerThreads::work()
{
    setThreadName(name);
    for (;;) {
        if (const Task task = next())
            task();
        else
            return;
        MutexLock lock(mutex);
        ++idle;
    }
}

} // namespace tarnel
