#include "TarnelCore/Bench/Bench.h"
#include "TarnelCore/Bench/PerfBudgets.h"
#include "TarnelCore/Config/TOML.h"
#include <chrono>
#include <gtest/gtest.h>
#include <numeric>
#include <stdexcept>

namespace tarnel {

namespace {

BenchStats countingTo(std::size_t n)
{
    std::vector<double> samples(n);
    std::iota(samples.rbegin(), samples.rend(), 1.0); // descending, to be sorted
    return BenchStats(samples);
}

TEST(BenchStats, summarises)
{
    const BenchStats ten = countingTo(10);
    EXPECT_EQ(ten.samples().front(), 1);
    EXPECT_EQ(ten.count(), 10u);
    EXPECT_EQ(ten.p50(), 5);
    EXPECT_EQ(ten.p95(), 10);
    EXPECT_EQ(ten.max(), 10);
    EXPECT_EQ(ten.mean(), 5.5);
    const BenchStats none;
    EXPECT_EQ(none.p50() + none.p95() + none.max() + none.mean(), 0);
}

TEST(Bench, takesTheNearestRank)
{
    const auto samples = countingTo(100).samples();
    for (const double p : {1.0, 7.0, 29.0, 55.0, 56.0, 57.0, 95.0, 100.0}) // of a hundred samples, exactly the p-th
        EXPECT_EQ(Bench::percentile(samples, p), p);
    EXPECT_EQ(Bench::percentile(samples, 0), 1);
    EXPECT_EQ(Bench::percentile(samples, -5), 1);
    EXPECT_EQ(Bench::percentile(samples, 0.5), 1);
    EXPECT_EQ(Bench::percentile(samples, 1.1), 2);
    EXPECT_EQ(Bench::percentile(samples, 500), 100);
}

TEST(Bench, measuresEachRun)
{
    struct Case {
        int iterations;
        int warmup;
        std::size_t samples;
        int runs;
    };
    for (const Case& c : {Case{5, 3, 5, 8}, Case{0, -1, 1, 1}, Case{-4, 0, 1, 1}}) {
        int runs = 0;
        const BenchStats stats = Bench::measure(c.iterations, c.warmup, [&] { ++runs; });
        EXPECT_EQ(stats.count(), c.samples);
        EXPECT_EQ(runs, c.runs);
        EXPECT_GE(stats.samples().front(), 0);
    }
    const BenchStats slow = Bench::measure(1, 0, [] {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(2);
        while (std::chrono::steady_clock::now() < end) { }
    });
    EXPECT_GE(slow.max(), 2); // milliseconds
    EXPECT_LT(slow.max(), 2000);
    int runs = 0;
    const auto failing = [&] {
        if (++runs == 3)
            throw std::runtime_error("third");
    };
    EXPECT_THROW(Bench::measure(9, 1, failing), std::runtime_error);
    EXPECT_EQ(runs, 3);
}

TEST(PerfBudgets, givesVerdicts)
{
    const PerfBudgets budgets("[a]\np95_ms = 2\n[a.b]\nmax_ms = 3\nnote = \"x\"\n[c]\np95_ms = \"2\"\n[d]\np95_ms = 1\n"
                              "max_ms = 9\n");
    EXPECT_EQ(budgets.budgets.size(), 3u);
    struct Case {
        const char* name;
        std::vector<double> samples;
        BudgetVerdict verdict;
    };
    const Case cases[] = {
        {"a", {2.5}, BudgetVerdict::over},
        {"a", {2}, BudgetVerdict::within},
        {"a", {}, BudgetVerdict::within},
        {"a.b", {3, 1}, BudgetVerdict::within},
        {"a.b", {1, 3.5, 1}, BudgetVerdict::over},
        {"d", {0.5, 9.5}, BudgetVerdict::over},
        {"c", {1}, BudgetVerdict::unbudgeted},
        {"b", {1}, BudgetVerdict::unbudgeted},
    };
    for (const Case& c : cases)
        EXPECT_EQ(budgets.verdict(c.name, BenchStats(c.samples)), c.verdict) << c.name << c.samples.size();
    EXPECT_EQ(nameOf(BudgetVerdict::unbudgeted), "unbudgeted");
    EXPECT_THROW(PerfBudgets("[a"), TOMLError);
}

TEST(PerfBudgets, recordsAndRenders)
{
    const PerfBudgets before("[old]\np95_ms = 1\nmax_ms = 12.5\n[kept]\nmax_ms = 1e9\n");
    const PerfBudgets after = before.recording(
        {{"a.b", BenchStats({3.1})}, {"old", BenchStats({123})}, {"tiny", BenchStats({0.004})}, {"none", {}}}, 1.5);
    const std::string text = after.render("timing budgets\n\nin milliseconds");
    EXPECT_EQ(text,
        "# timing budgets\n# \n# in milliseconds\n"
        "\n[a.b]\np95_ms = 4.7\n"
        "\n[kept]\nmax_ms = 1000000000\n"
        "\n[none]\np95_ms = 0.01\n"
        "\n[old]\np95_ms = 190\nmax_ms = 12.5\n"
        "\n[tiny]\np95_ms = 0.01\n");
    EXPECT_EQ(PerfBudgets(text).render("timing budgets\n\nin milliseconds"), text);
    EXPECT_EQ(before.budgets.at("old").p95Ms, 1);
}

} // namespace

} // namespace tarnel
