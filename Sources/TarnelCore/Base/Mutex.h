// TarnelCore/Base/Mutex.h: a mutex, a lock and a condition that clang's thread-safety analysis can follow.
#pragma once
#include <cassert>
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

/// Takes the place of the system's mutexes and conditions on a thread that runs several activities by turns, so that a
/// simulation decides who goes on whenever one of them locks or waits.
class Locking {
public:
    virtual ~Locking() = default;

    virtual void lock(const void* mutex) = 0; ///< Returns once no other activity has it.
    virtual void unlock(const void* mutex) noexcept = 0;
    /// Gives the mutex up until the condition is notified.
    virtual void wait(const void* condition, const void* mutex) = 0;
    virtual void notify(const void* condition, bool isForAll) noexcept = 0;

    /// Of the calling thread; null for the system's. Changes only while the thread holds no lock.
    static inline constinit thread_local Locking* current = nullptr;
};

/// `std::mutex` with the attributes that the analysis needs.
class TARNEL_ATTRIBUTE(capability("mutex")) Mutex {
public:
    void lock() TARNEL_ATTRIBUTE(acquire_capability())
    {
        if (Locking* const other = Locking::current)
            other->lock(this);
        else
            native.lock();
    }
    /// Takes it when nobody has it; returns whether it did. Not for simulations.
    bool tryLock() TARNEL_ATTRIBUTE(try_acquire_capability(true))
    {
        assert(!Locking::current && "only the system's threads find out that a lock is taken");
        return native.try_lock();
    }
    void unlock() TARNEL_ATTRIBUTE(release_capability())
    {
        if (Locking* const other = Locking::current)
            other->unlock(this);
        else
            native.unlock();
    }

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
        if (Locking* const other = Locking::current)
            return other->wait(this, &mutex);
        std::unique_lock<std::mutex> borrowed(mutex.native, std::adopt_lock);
        changed.wait(borrowed);
        borrowed.release();
    }

    /// Returns false when `deadline` has passed, which is one of the machine's own clock: not for simulations.
    bool waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point deadline) TARNEL_REQUIRES(mutex)
    {
        assert(!Locking::current && "only the system's threads wait for the machine's clock");
        std::unique_lock<std::mutex> borrowed(mutex.native, std::adopt_lock);
        const bool inTime = changed.wait_until(borrowed, deadline) == std::cv_status::no_timeout;
        borrowed.release();
        return inTime;
    }

    void notifyOne()
    {
        if (Locking* const other = Locking::current)
            other->notify(this, false);
        else
            changed.notify_one();
    }
    void notifyAll()
    {
        if (Locking* const other = Locking::current)
            other->notify(this, true);
        else
            changed.notify_all();
    }

private:
    std::condition_variable changed;
};

} // namespace tarnel
