// tarnel-bench: measures the system against the bare limits of the machine that it runs on. See script/bench.
#include "Bench/Options.h"
#include "Bench/Page.h"
#include "Bench/Report.h"
#include "Bench/Row.h"
#include "Bench/Servers.h"
#include "TarnelCore/Base/FileDescriptor.h"
#include "TarnelCore/Base/Files.h"
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

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
    std::fputs("usage: tarnel-bench --goals FILE --daemon tarneld --hello bench-hello [--repetitions N]\n"
               "                    [--report FILE] [--pattern FILE --page FILE --plot FILE]\n"
               "                    [--benchmark_filter=REGEX]\n",
        stderr);
    return 2;
}

std::string readFile(const std::string& path)
{
    auto text = Files::read(path);
    if (!text)
        throw std::runtime_error("cannot read " + path);
    return *std::move(text);
}

/// What the daemons print is of no interest here; returns where this program's own errors go.
FILE* silenceChildren()
{
    FILE* const own = ::fdopen(::dup(STDERR_FILENO), "w");
    const FileDescriptor nothing(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    ::dup2(nothing.get(), STDERR_FILENO);
    return own;
}

int measureAll(const Options& options)
{
    const std::vector<Row> rows = allRows();
    Report report(rows, PerfBudgets(readFile(options.goals)));
    const std::string pattern = options.page.empty() ? "" : readFile(options.pattern);
    Current current;
    for (const Row& row : rows)
        benchmark::RegisterBenchmark(row.name.c_str(), [&](benchmark::State& state) { measure(state, row, current); })
            ->Iterations(1)
            ->Repetitions(options.repetitions)
            ->UseManualTime();
    benchmark::RunSpecifiedBenchmarks(&report);
    current = {};
    report.finish();
    if (!options.report.empty())
        Files::writeAtomically(options.report, report.json());
    if (!options.page.empty()) {
        const Growth growth = measureGrowth();
        Files::writeAtomically(options.page, page(pattern, report.rowResults(), growth));
        Files::writeAtomically(options.plot, plot(growth));
    }
    return report.isWithinGoals() ? 0 : 1;
}

int run(int count, char** values)
{
    if (const auto served = serveIfAsked(count, values))
        return *served;
    benchmark::Initialize(&count, values);
    Options options;
    if (!parse(count, values, options))
        return usage();
    FILE* const errors = silenceChildren();
    try {
        return measureAll(options);
    } catch (const std::exception& error) {
        std::fprintf(errors, "tarnel-bench: %s\n", error.what());
        return 2;
    }
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
