#include "Bench/Report.h"
#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace tarnel::bench {

namespace {

const char* verdictText(const RowResult& result)
{
    if (result.stretchVerdict == BudgetVerdict::within)
        return "stretch reached";
    return result.goalVerdict == BudgetVerdict::within ? "goal reached" : "MISSED";
}

} // namespace

Report::Report(const std::vector<Row>& measured, PerfBudgets limits)
    : rows(measured)
    , goals(std::move(limits))
{
}

bool Report::ReportContext(const Context&)
{
    std::printf("%2s  %-13s %10s %8s %8s  %-15s  %s\n", "#", "row", "ratio", "goal", "stretch", "verdict",
        "medians: subject / reference");
    return true;
}

void Report::ReportRuns(const std::vector<Run>& runs)
{
    std::vector<double> subjects;
    std::vector<double> references;
    std::vector<double> ratios;
    for (const Run& run : runs) {
        if (run.run_type != Run::RT_Iteration)
            continue;
        if (run.error_occurred)
            throw std::runtime_error(run.error_message);
        const Sample sample{run.counters.at("subject"), run.counters.at("reference")};
        subjects.push_back(sample.subject);
        references.push_back(sample.reference);
        ratios.push_back(sample.ratio());
    }
    if (ratios.empty())
        return;
    const std::string& name = runs.front().run_name.function_name;
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const Row& each) { return each.name == name; });
    const BenchStats stats(std::move(ratios));
    const BenchStats median({stats.p50()});
    const auto limit = [&](const char* which) { return goals.budgets.at(name + which).p95Ms.value(); };
    const RowResult& result = results.emplace_back(RowResult{.number = row->number,
        .name = name,
        .what = row->what,
        .unit = row->unit,
        .subject = BenchStats(std::move(subjects)).p50(),
        .reference = BenchStats(std::move(references)).p50(),
        .ratio = stats.p50(),
        .ratios = stats.samples(),
        .goal = limit(".goal"),
        .stretch = limit(".stretch"),
        .goalVerdict = goals.verdict(name + ".goal", median),
        .stretchVerdict = goals.verdict(name + ".stretch", median)});
    std::printf("%2lld  %-13s %10.4g %8.4g %8.4g  %-15s  %.4g / %.4g %s: %s\n", static_cast<long long>(result.number),
        name.c_str(), result.ratio, result.goal, result.stretch, verdictText(result), result.subject, result.reference,
        result.unit.c_str(), result.what.c_str());
    std::fflush(stdout);
}

void Report::finish() const
{
    const auto reached = std::count_if(results.begin(), results.end(),
        [](const RowResult& each) { return each.goalVerdict == BudgetVerdict::within; });
    std::printf("%ld of %zu rows reach their goal\n", static_cast<long>(reached), results.size());
}

bool Report::isWithinGoals() const
{
    return std::all_of(results.begin(), results.end(),
        [](const RowResult& each) { return each.goalVerdict == BudgetVerdict::within; });
}

std::string Report::json() const
{
    JSONWriter writer;
    writer.beginObject();
    writer.key("rows");
    encode(writer, results);
    writer.endObject();
    return writer.take() + "\n";
}

} // namespace tarnel::bench
