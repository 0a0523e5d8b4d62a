#include "TarnelCore/Bench/Bench.h"
#include <algorithm>
#include <chrono>
#include <cmath>

namespace tarnel::Bench {

double percentile(const std::vector<double>& samples, double p)
{
    if (samples.empty())
        return 0;
    const auto count = static_cast<double>(samples.size());
    const double position = std::ceil(p * count / 100); // multiplied first: 55 / 100 * 100 would be more than 55
    const double inside = position >= 1 ? std::min(position, count) : 1;
    return samples[static_cast<std::size_t>(inside) - 1];
}

BenchStats measure(int iterations, int warmup, const std::function<void()>& body)
{
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::duration<double, std::milli>;

    for (int run = 0; run < warmup; ++run)
        body();
    std::vector<double> durations(static_cast<std::size_t>(std::max(iterations, 1)));
    for (double& duration : durations) {
        const Clock::time_point start = Clock::now();
        body();
        const Clock::time_point end = Clock::now();
        duration = Milliseconds(end - start).count();
    }
    return BenchStats(std::move(durations));
}

} // namespace tarnel::Bench
