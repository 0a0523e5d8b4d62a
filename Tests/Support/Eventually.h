// Tests/Support/Eventually.h: waits for what another thread will bring about.
#pragma once
#include <chrono>
#include <thread>

namespace tarnel {

/// Asks `condition` again and again until it holds; false when it still does not after `limit`.
template <class Condition>
bool eventually(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(10))
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace tarnel
