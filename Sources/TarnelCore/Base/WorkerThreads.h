// TarnelCore/Base/WorkerThreads.h: threads for long tasks, kept for the next one.
#pragma once
#include "TarnelCore/Base/Mutex.h"
#include <deque>
#include <functional>
#include <list>
#include <string>
#include <thread>

namespace tarnel {

/// Runs each task on a thread of its own. A thread whose task has ended waits a while for another, since starting one
/// costs more than most tasks take; so there are as many threads as tasks at the busiest moment, and none after a rest.
/// Thread-safety: `run` from any thread.
/// Lifetime: the destructor waits for the running tasks; whoever owns the threads makes their tasks end first.
class WorkerThreads {
public:
    using Task = std::function<void()>;

    /// The threads carry `name`.
    explicit WorkerThreads(std::string name);
    ~WorkerThreads();
    WorkerThreads(const WorkerThreads&) = delete;
    WorkerThreads& operator=(const WorkerThreads&) = delete;

    /// Starts `task`, which must not throw. Throws std::system_error when the system has no thread left.
    void run(Task task) TARNEL_EXCLUDES(mutex);

private:
    void work() TARNEL_EXCLUDES(mutex);
    Task next() TARNEL_EXCLUDES(mutex);
    void joinEnded() TARNEL_REQUIRES(mutex);

    const std::string name;
    Mutex mutex;
    Condition changed; // notified after any field below changes
    std::deque<Task> waiting TARNEL_GUARDED_BY(mutex);
    std::size_t idle TARNEL_GUARDED_BY(mutex) = 0; // threads without a task, less those that a task in `waiting` is for
    bool isStopping TARNEL_GUARDED_BY(mutex) = false;
    std::list<std::thread> threads TARNEL_GUARDED_BY(mutex);
    std::deque<std::thread::id> ended TARNEL_GUARDED_BY(mutex); // left `work`, but not joined yet
};

} // namespace tarnel
