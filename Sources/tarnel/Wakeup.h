// tarnel/Wakeup.h: one thread's news as something that another can wait for beside other things.
#pragma once
#include "TarnelCore/Base/FileDescriptor.h"

namespace tarnel {

/// A flag with a descriptor that is readable while it is up.
/// Thread-safety: `raise` and `lower` under the lock of what the flag tells of.
class Wakeup {
public:
    /// Throws std::system_error when the system has no descriptors left.
    Wakeup();

    [[nodiscard]] int descriptor() const { return receiver.get(); }

    /// Never block; nothing happens when it is up, or down, already.
    void raise() noexcept;
    void lower() noexcept;

private:
    FileDescriptor receiver; // a pipe that holds one byte while the flag is up
    FileDescriptor sender;
    bool isUp = false;
};

} // namespace tarnel
