// tarnel/SignalWatch.h: signals as something that can be waited for beside other things.
#pragma once
#include "TarnelCore/Base/FileDescriptor.h"
#include <csignal>
#include <initializer_list>
#include <optional>
#include <utility>
#include <vector>

namespace tarnel {

/// Catches the given signals for the length of its life; the earlier handling comes back at the end.
/// Thread-safety: none; at most one exists at a time.
class SignalWatch {
public:
    explicit SignalWatch(std::initializer_list<int> signals);
    ~SignalWatch();
    SignalWatch(const SignalWatch&) = delete;
    SignalWatch& operator=(const SignalWatch&) = delete;

    /// Readable while there is a signal to take.
    [[nodiscard]] int descriptor() const { return receiver.get(); }

    /// The number of the next signal; nothing when none is left. Never blocks.
    std::optional<int> take();

private:
    FileDescriptor receiver;
    FileDescriptor sender;
    std::vector<std::pair<int, struct sigaction>> before;
};

} // namespace tarnel
