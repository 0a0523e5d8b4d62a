// TarnelCore/Base/Mutex.h: a mutex, a lock and a condition that clang's thread-safety analysis can follow.
#pragma once
#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define TARNEL_ATTRIBUTE(x) __attribute__((x))
#else
#define TARNEL_ATTRIBUTE(x)
#endif

/// On a field: it is read and written only with `m` held.
#define TARNEL_GUARDED_BY(m) TARNEL_ATTRIBUTE(guarded_by(m))
/// On a function: the caller holds the mutexes.
#define TARNEL_REQUIRES(...) TARNEL_ATTRIBUTE(requires_capability(__VA_ARGS__))
/// On a function: the caller does not hold the mutexes, since the function takes them.
#define TARNEL_EXCLUDES(...) TARNEL_ATTRIBUTE(locks_excluded(__VA_ARGS__))

namespace tarnel {

/// `std::mutex` with the attributes that the analysis needs.
class TARNEL_ATTRIBUTE(capability("mutex")) Mutex {
public:
    void lock() TARNEL_ATTRIBUTE(acquire_capability()) { native.lock(); }
    void unlock() TARNEL_ATTRIBUTE(release_capability()) { native.unlock(); }

private:
    friend class Condition;
    std::mutex native;
};

/// Holds a `Mutex` for a scope.
class TARNEL_ATTRIBUTE(scoped_lockable) MutexLock {
public:
    explicit MutexLock(Mutex& held) TARNEL_ATTRIBUTE(acquire_capability(held))
        : mutex(held)
    {
        mutex.lock();
    }
    ~MutexLock() TARNEL_ATTRIBUTE(release_capability()) { mutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& mutex;
};

/// A condition variable on a `Mutex`. Wait in a loop: a wake-up says only that something may have changed.
class Condition {
public:
    void wait(Mutex& mutex) TARNEL_REQUIRES(mutex)
    {
        std::unique_lock<std::mutex> borrowed(mutex.native, std::adopt_lock);
        changed.wait(borrowed);
        borrowed.release();
    }

    /// Returns false when `deadline` has passed.
    bool waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point deadline) TARNEL_REQUIRES(mutex)
    {
        std::unique_lock<std::mutex> borrowed(mutex.native, std::adopt_lock);
        const bool inTime = changed.wait_until(borrowed, deadline) == std::cv_status::no_timeout;
        borrowed.release();
        return inTime;
    }

    void notifyOne() { changed.notify_one(); }
    void notifyAll() { changed.notify_all(); }

private:
    std::condition_variable changed;
};

} // namespace tarnel
