// Tests/Faults/ProcessUsage.h: what a process takes of the machine.
#pragma once
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <sys/types.h>

namespace tarnel {

/// Of one moment.
struct ProcessUsage {
    double memory = 0; ///< MiB that are resident.
    double peakMemory = 0; ///< The most of that since the start, or since `resetPeak`.
    std::size_t threads = 0;
    std::size_t descriptors = 0;
    std::chrono::nanoseconds processor{}; ///< Time spent computing, of all threads.

    /// Nothing where the system does not tell in this way, as outside Linux, or when there is no such process.
    static std::optional<ProcessUsage> of(pid_t id);

    static void resetPeak(pid_t id);

    /// How many children the process has, those included that have ended and were not waited for.
    static std::size_t childrenOf(pid_t id);
};

/// Prints one line of what was measured.
void printFigure(const std::string& text);

} // namespace tarnel
