// TarnelCore/Base/SerialQueue.h: runs tasks one at a time, in the order given.
#pragma once
#include "TarnelCore/Base/Mutex.h"
#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>

namespace tarnel {

/// A FIFO of tasks of which two never overlap.
/// Thread-safety: every operation may be called from any thread, `dispatch` also from inside a task.
class SerialQueue {
public:
    using Task = std::function<void()>;

    virtual ~SerialQueue() = default;

    /// Appends `task` and returns at once. A task must not throw: there is no one left to tell.
    virtual void dispatch(Task task) = 0;

    /// Appends `task` once `delay` has passed; tasks that are due before it go first.
    virtual void dispatchAfter(std::chrono::nanoseconds delay, Task task) = 0;

    /// Blocks until everything that was dispatched before has run. Never call it from one of the queue's own tasks.
    virtual void drain() = 0;
};

/// Makes a queue with a label that shows in debuggers.
using SerialQueueFactory = std::function<std::unique_ptr<SerialQueue>(const std::string& label)>;

/// A queue with a thread of its own, which exists only while there is work, and a little longer for the next.
/// Lifetime: the destructor drops delayed tasks that are not yet due, runs those already queued, then joins; so a task
/// may use whatever outlives the queue. Never destroy a queue from one of its tasks.
class ThreadQueue final : public SerialQueue {
public:
    /// The thread carries `label` as its name, as far as the system has room for it.
    explicit ThreadQueue(std::string label);
    ~ThreadQueue() override;
    ThreadQueue(const ThreadQueue&) = delete;
    ThreadQueue& operator=(const ThreadQueue&) = delete;

    void dispatch(Task task) override TARNEL_EXCLUDES(mutex);
    void dispatchAfter(std::chrono::nanoseconds delay, Task task) override TARNEL_EXCLUDES(mutex);
    void drain() override TARNEL_EXCLUDES(mutex);

    /// `SerialQueueFactory` of such queues.
    static std::unique_ptr<SerialQueue> make(const std::string& label);

private:
    using Instant = std::chrono::steady_clock::time_point;

    void run() TARNEL_EXCLUDES(mutex);
    Task next() TARNEL_EXCLUDES(mutex);
    void promoteDue() TARNEL_REQUIRES(mutex);
    void ensureWorker() TARNEL_REQUIRES(mutex);

    const std::string label;
    Mutex mutex;
    Condition changed; // notified after any field below changes
    std::deque<Task> ready TARNEL_GUARDED_BY(mutex);
    std::multimap<Instant, Task> delayed TARNEL_GUARDED_BY(mutex);
    bool isStopping TARNEL_GUARDED_BY(mutex) = false;
    bool isRunning TARNEL_GUARDED_BY(mutex) = false; // the worker will still look at `ready` again
    std::thread worker TARNEL_GUARDED_BY(mutex);
};

} // namespace tarnel
