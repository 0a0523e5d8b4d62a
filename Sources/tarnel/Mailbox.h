// tarnel/Mailbox.h: hands values from threads that make them to the one that waits for them.
#pragma once
#include "TarnelCore/Base/Mutex.h"
#include "tarnel/Wakeup.h"
#include <deque>
#include <optional>
#include <utility>

namespace tarnel {

/// A queue with a descriptor that is readable while it holds anything.
/// Thread-safety: `put` from any thread, `take` from one.
template <class T> class Mailbox {
public:
    [[nodiscard]] int descriptor() const { return wakeup.descriptor(); }

    void put(T value) TARNEL_EXCLUDES(mutex)
    {
        MutexLock lock(mutex);
        values.push_back(std::move(value));
        wakeup.raise();
    }

    /// The oldest value; nothing when there is none. Never blocks.
    std::optional<T> take() TARNEL_EXCLUDES(mutex)
    {
        MutexLock lock(mutex);
        if (values.empty())
            return std::nullopt;
        T value = std::move(values.front());
        values.pop_front();
        if (values.empty())
            wakeup.lower();
        return value;
    }

private:
    Wakeup wakeup; // raised and lowered with the mutex held
    Mutex mutex;
    std::deque<T> values TARNEL_GUARDED_BY(mutex);
};

} // namespace tarnel
