#include "TarnelCore/Base/SerialQueue.h"
#include "TarnelCore/Base/Thread.h"
#include <algorithm>
#include <utility>

namespace tarnel {

namespace {

/// How long an idle worker stays for the next task: starting a thread costs more than most tasks.
constexpr std::chrono::seconds linger{10};

} // namespace

ThreadQueue::ThreadQueue(std::string name)
    : label(std::move(name))
{
}

ThreadQueue::~ThreadQueue()
{
    std::multimap<Instant, Task> dropped; // destroyed without the lock: a task may own something big
    std::thread last;
    {
        MutexLock lock(mutex);
        isStopping = true;
        dropped.swap(delayed);
        last.swap(worker);
    }
    changed.notifyAll();
    if (last.joinable())
        last.join();
}

void ThreadQueue::dispatch(Task task)
{
    {
        MutexLock lock(mutex);
        if (isStopping)
            return;
        ready.push_back(std::move(task));
        ensureWorker();
    }
    changed.notifyAll();
}

void ThreadQueue::dispatchAfter(std::chrono::nanoseconds delay, Task task)
{
    if (delay <= delay.zero())
        return dispatch(std::move(task));
    {
        MutexLock lock(mutex);
        if (isStopping)
            return;
        delayed.emplace(std::chrono::steady_clock::now() + delay, std::move(task));
        ensureWorker();
    }
    changed.notifyAll();
}

void ThreadQueue::drain()
{
    struct Gate {
        Mutex mutex;
        Condition opened;
        bool isOpen TARNEL_GUARDED_BY(mutex) = false;
    };
    const auto gate = std::make_shared<Gate>();
    dispatch([gate] {
        {
            MutexLock lock(gate->mutex);
            gate->isOpen = true;
        }
        gate->opened.notifyAll();
    });
    MutexLock lock(gate->mutex);
    while (!gate->isOpen)
        gate->opened.wait(gate->mutex);
}

std::unique_ptr<SerialQueue> ThreadQueue::make(const std::string& label)
{
    return std::make_unique<ThreadQueue>(label);
}

void ThreadQueue::ensureWorker()
{
    if (isRunning)
        return;
    if (worker.joinable())
        worker.join(); // it has left `run` but for its return
    isRunning = true;
    worker = std::thread([this] { run(); });
}

void ThreadQueue::promoteDue()
{
    const Instant now = std::chrono::steady_clock::now();
    while (!delayed.empty() && delayed.begin()->first <= now) {
        ready.push_back(std::move(delayed.begin()->second));
        delayed.erase(delayed.begin());
    }
}

ThreadQueue::Task ThreadQueue::next()
{
    MutexLock lock(mutex);
    const Instant giveUp = std::chrono::steady_clock::now() + linger;
    for (;;) {
        promoteDue();
        if (!ready.empty()) {
            Task task = std::move(ready.front());
            ready.pop_front();
            return task;
        }
        const bool isIdle = delayed.empty();
        if (isStopping || (isIdle && std::chrono::steady_clock::now() >= giveUp)) {
            isRunning = false;
            return {};
        }
        changed.waitUntil(mutex, isIdle ? giveUp : delayed.begin()->first);
    }
}

void ThreadQueue::run()
{
    setThreadName(label);
    while (const Task task = next())
        task();
}

} // namespace tarnel
