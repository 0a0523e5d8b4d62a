#include "TarnelCore/Bench/BenchStats.h"
#include "TarnelCore/Bench/Bench.h"
#include <algorithm>
#include <numeric>

namespace tarnel {

BenchStats::BenchStats(std::vector<double> durations)
    : sorted(std::move(durations))
{
    std::sort(sorted.begin(), sorted.end());
}

double BenchStats::p50() const { return Bench::percentile(sorted, 50); }

double BenchStats::p95() const { return Bench::percentile(sorted, 95); }

double BenchStats::max() const { return sorted.empty() ? 0 : sorted.back(); }

double BenchStats::mean() const
{
    return sorted.empty() ? 0 : std::accumulate(sorted.begin(), sorted.end(), 0.0) / static_cast<double>(sorted.size());
}

} // namespace tarnel
