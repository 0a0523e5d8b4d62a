// Tests/Simulation/Fiber.h: a function with a stack of its own, which can stop anywhere and go on later.
#pragma once
#include <array>
#include <cstddef>
#include <functional>
#include <memory>

namespace tarnel::sim {

/// Runs on the thread of whoever resumes it. Thread-safety: none.
/// Lifetime: destroyed before it has begun or after it is over, since what stands on its stack is not unwound.
class Fiber {
public:
    /// `body` must not throw.
    explicit Fiber(std::function<void()> body);
    ~Fiber();
    Fiber(const Fiber&) = delete;
    Fiber& operator=(const Fiber&) = delete;

    /// Runs the body from where it stopped, until it stops again or ends.
    void resume();
    /// Stops the running fiber: called from inside its body.
    void suspend();

    [[nodiscard]] bool hasBegun() const { return isBegun; }
    [[nodiscard]] bool isOver() const { return hasEnded; }

private:
    struct Context;
    static void enter(unsigned high, unsigned low);

    const std::function<void()> body;
    const std::unique_ptr<Context> context;
    bool isBegun = false;
    bool hasEnded = false;
};

} // namespace tarnel::sim
