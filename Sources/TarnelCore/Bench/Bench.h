// TarnelCore/Bench/Bench.h: times an operation.
#pragma once
#include "TarnelCore/Bench/BenchStats.h"
#include <functional>
#include <vector>

/// Thread-safe.
namespace tarnel::Bench {

/// The nearest-rank percentile `p` (percent) of ascending samples: the one at position ceil(p / 100 * n), counted from
/// 1 and kept inside 1 to n; 0 when there are none.
double percentile(const std::vector<double>& samples, double p);

/// Runs `body` `warmup` times untimed, then `iterations` times (at least once) timed one by one with the monotonic
/// clock. What `body` throws ends the measurement and is thrown on.
BenchStats measure(int iterations, int warmup, const std::function<void()>& body);

} // namespace tarnel::Bench
