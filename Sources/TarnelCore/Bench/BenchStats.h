// TarnelCore/Bench/BenchStats.h: what the timings of one operation say together.
#pragma once
#include <cstddef>
#include <vector>

namespace tarnel {

/// Durations in milliseconds and what they amount to; every figure is 0 when there are none. Immutable; thread-safe.
class BenchStats {
public:
    BenchStats() = default;
    /// Takes durations in any order; none may be NaN.
    explicit BenchStats(std::vector<double> durations);

    /// Ascending.
    [[nodiscard]] const std::vector<double>& samples() const { return sorted; }
    [[nodiscard]] std::size_t count() const { return sorted.size(); }
    [[nodiscard]] double p50() const; ///< By nearest rank, as `Bench::percentile`.
    [[nodiscard]] double p95() const;
    [[nodiscard]] double max() const;
    [[nodiscard]] double mean() const;

    bool operator==(const BenchStats&) const = default;

private:
    std::vector<double> sorted;
};

} // namespace tarnel
