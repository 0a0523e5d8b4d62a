#include "Simulation/Simulation.h"
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <iterator>

namespace tarnel {

namespace {

#if defined(__SANITIZE_THREAD__)
#define TARNEL_THREAD_SANITIZER
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define TARNEL_THREAD_SANITIZER
#endif
#endif

constexpr std::uint64_t usualSeeds = 100;
constexpr std::uint64_t mostSeeds = 10; // times those wanted, until all that the simulation is for has happened

/// What the simulation is for.
constexpr const char* subjects[] = {"answers applied", "answers unverified", "answers stale", "answers failed",
    "answers repeated", "answers overtaken by another question", "faults", "inputs that came late", "prompts released",
    "prompts received", "replies held", "replies queued", "replies done", "replies failed"};

std::optional<std::uint64_t> number(const char* variable)
{
    const char* const text = std::getenv(variable);
    return text ? std::optional(std::strtoull(text, nullptr, 10)) : std::nullopt;
}

/// TARNEL_SEED=n replays one seed and prints what happens; TARNEL_SEEDS=n runs that many.
TEST(Simulation, nothingHappensTwiceOrGetsLost)
{
#if defined(TARNEL_THREAD_SANITIZER)
    GTEST_SKIP() << "one thread, whose stacks the thread sanitizer does not follow";
#endif
    if (const auto seed = number("TARNEL_SEED")) {
        const sim::Outcome outcome = sim::simulate(*seed, true);
        std::printf("after %llu turns: %s\n", static_cast<unsigned long long>(outcome.turns),
            outcome.violation.value_or("nothing wrong").c_str());
        EXPECT_FALSE(outcome.violation);
        return;
    }
    const std::uint64_t seeds = number("TARNEL_SEEDS").value_or(usualSeeds);
    const std::clock_t began = std::clock();
    std::uint64_t turns = 0;
    std::map<std::string, std::size_t> counts;
    std::uint64_t failures = 0;
    const auto isComplete = [&] {
        return std::all_of(
            std::begin(subjects), std::end(subjects), [&](const char* what) { return counts[what] > 0; });
    };
    std::uint64_t seed = 1;
    for (; (seed <= seeds || (seed <= mostSeeds * seeds && !isComplete())) && failures < 10; ++seed) {
        const sim::Outcome outcome = sim::simulate(seed);
        turns += outcome.turns;
        for (const auto& [what, count] : outcome.counts)
            counts[what] += count;
        if (outcome.violation) {
            ++failures;
            ADD_FAILURE() << *outcome.violation << "\nreplay with TARNEL_SEED=" << seed;
        }
    }
    const double took = static_cast<double>(std::clock() - began) / CLOCKS_PER_SEC; // processor time
    std::printf("%llu seeds in %.1f s, %.0f interleavings a second", static_cast<unsigned long long>(seed - 1), took,
        static_cast<double>(turns) / took);
    for (const auto& [what, count] : counts)
        std::printf("; %s: %zu", what.c_str(), count);
    std::printf("\n");
    if (!HasFailure()) {
        EXPECT_EQ(sim::simulate(1).turns, sim::simulate(1).turns) << "a seed is not replayed as it was";
    }
    for (const char* what : subjects)
        EXPECT_GT(counts[what], 0u) << what << ": the simulation does not show what it is for";
}

} // namespace

} // namespace tarnel
