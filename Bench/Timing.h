// Bench/Timing.h: clocks, and measuring two things in turns.
#pragma once
#include "Bench/Row.h"
#include "TarnelCore/Bench/BenchStats.h"
#include <ctime>
#include <vector>

namespace tarnel::bench {

enum class Clock : clockid_t {
    wall = CLOCK_MONOTONIC,
    thread = CLOCK_THREAD_CPUTIME_ID, ///< The calling thread's processor time: not disturbed by what else runs.
    process = CLOCK_PROCESS_CPUTIME_ID, ///< That of all threads.
};

/// Milliseconds.
inline double now(Clock clock)
{
    timespec time{};
    clock_gettime(static_cast<clockid_t>(clock), &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

template <class Work> double timed(Clock clock, const Work& work)
{
    const double start = now(clock);
    work();
    return now(clock) - start;
}

/// The medians of `rounds` runs of each, one after the other in turns. Both return what they measured.
template <class Subject, class Reference> Sample inTurns(int rounds, const Subject& subject, const Reference& reference)
{
    std::vector<double> subjects;
    std::vector<double> references;
    for (int round = 0; round < rounds; ++round) {
        references.push_back(reference());
        subjects.push_back(subject());
    }
    return {BenchStats(std::move(subjects)).p50(), BenchStats(std::move(references)).p50()};
}

} // namespace tarnel::bench
