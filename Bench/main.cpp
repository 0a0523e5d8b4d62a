// tarnel-bench: measures the system against the bare limits of the machine that it runs on. See script/bench.
#include "Bench/Growth.h"
#include "Bench/Options.h"
#include "Bench/Report.h"
#include "Bench/Row.h"
#include "Bench/Servers.h"
#include "TarnelCore/Base/Files.h"
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <exception>
#include <memory>

namespace tarnel::bench {

namespace {

std::vector<Row> allRows()
{
    std::vector<Row> rows;
    for (const auto& some : {recordRows(), requestRows(), snapshotRows(), processRows()})
        rows.insert(rows.end(), some.begin(), some.end());
    std::sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) { return a.number < b.number; });
    return rows;
}

/// What is set up for the row that is being measured; only one at a time.
struct Current {
    std::string name;
    Measure measure;
};

void measure(benchmark::State& state, const Row& row, Current& current)
{
    if (current.name != row.name) {
        current.measure = nullptr;
        current.name = row.name;
        current.measure = row.prepare();
        current.measure(); // the first one warms up
    }
    Sample sample;
    for ([[maybe_unused]] const auto iteration : state) {
        sample = current.measure();
        state.SetIterationTime(sample.subject / 1e3);
    }
    state.counters["subject"] = sample.subject;
    state.counters["reference"] = sample.reference;
}

int usage()
{
    std::fputs("usage: tarnel-bench --goals FILE --daemon tarneld --hello bench-hello [--report FILE] [--growth FILE]\n"
               "                    [--repetitions N] [--benchmark_filter=REGEX]\n",
        stderr);
    return 2;
}

int run(int count, char** values)
{
    if (const auto served = serveIfAsked(count, values))
        return *served;
    benchmark::Initialize(&count, values);
    Options options;
    if (!parse(count, values, options))
        return usage();
    const auto goalsText = Files::read(options.goals);
    if (!goalsText)
        throw std::runtime_error("cannot read " + options.goals);
    const std::vector<Row> rows = allRows();
    Report report(rows, PerfBudgets(*goalsText));
    if (options.repetitions > 0) {
        Current current;
        for (const Row& row : rows)
            benchmark::RegisterBenchmark(row.name.c_str(),
                [&](benchmark::State& state) { measure(state, row, current); })
                ->Iterations(1)
                ->Repetitions(options.repetitions)
                ->UseManualTime();
        benchmark::RunSpecifiedBenchmarks(&report);
    }
    report.finish();
    if (!options.report.empty())
        Files::writeAtomically(options.report, report.json());
    if (!options.growth.empty())
        Files::writeAtomically(options.growth, measureGrowth().serialized());
    return report.isWithinGoals() ? 0 : 1;
}

} // namespace

} // namespace tarnel::bench

int main(int count, char** values)
{
    try {
        return tarnel::bench::run(count, values);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tarnel-bench: %s\n", error.what());
        return 1;
    }
}
