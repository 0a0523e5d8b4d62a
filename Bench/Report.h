// Bench/Report.h: what the rows came to, as lines and as JSON.
#pragma once
#include "Bench/Row.h"
#include "TarnelCore/Bench/PerfBudgets.h"
#include "TarnelCore/JSON/Record.h"
#include <benchmark/benchmark.h>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::bench {

/// What was measured of one row; its JSON form is an element of the report's "rows".
struct RowResult {
    std::int64_t number = 0;
    std::string name;
    std::string what;
    std::string unit;
    double subject = 0; ///< Medians over the repetitions, each for itself.
    double reference = 0;
    double ratio = 0; ///< Median of the repetitions' ratios.
    std::vector<double> ratios; ///< Ascending.
    double goal = 0;
    double stretch = 0;
    BudgetVerdict goalVerdict = BudgetVerdict::unbudgeted;
    BudgetVerdict stretchVerdict = BudgetVerdict::unbudgeted;

    static constexpr auto fields()
    {
        using T = RowResult;
        return std::tuple{Field{"number", &T::number}, Field{"name", &T::name}, Field{"what", &T::what},
            Field{"unit", &T::unit}, Field{"subject", &T::subject}, Field{"reference", &T::reference},
            Field{"ratio", &T::ratio}, Field{"ratios", &T::ratios}, Field{"goal", &T::goal},
            Field{"stretch", &T::stretch}, Field{"goalVerdict", &T::goalVerdict},
            Field{"stretchVerdict", &T::stretchVerdict}};
    }
};

/// Prints a line for each row as soon as its repetitions are done, and keeps the results.
class Report final : public benchmark::BenchmarkReporter {
public:
    /// `goals` has a budget "<row>.goal" and one "<row>.stretch" for every row; both outlive the report.
    Report(const std::vector<Row>& rows, PerfBudgets goals);

    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;

    /// Prints how many rows reach their goals.
    void finish() const;
    [[nodiscard]] bool isWithinGoals() const;
    [[nodiscard]] std::string json() const;
    [[nodiscard]] const std::vector<RowResult>& rowResults() const { return results; }

private:
    const std::vector<Row>& rows;
    const PerfBudgets goals;
    std::vector<RowResult> results;
};

} // namespace tarnel::bench
