// Bench/SystemCalls.h: counts what a piece of work asks of the kernel.
#pragma once
#include <functional>

namespace tarnel::bench {

/// How many system calls `work` makes. It runs in a child process, traced; its effects stay there. Called by a process
/// with one thread. Throws std::system_error where tracing is not allowed.
double systemCalls(const std::function<void()>& work);

/// How many threads and processes this process has started so far.
long startedThreadsAndProcesses();

} // namespace tarnel::bench
