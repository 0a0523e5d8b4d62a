// TarnelCore/Bench/PerfBudgets.h: how long each operation may take, and whether it did.
#pragma once
#include "TarnelCore/Bench/BenchStats.h"
#include "TarnelCore/JSON/Record.h"
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarnel {

/// The limits of one operation, in milliseconds; an absent one limits nothing.
struct PerfBudget {
    std::optional<double> p95Ms; ///< Of the 95th percentile.
    std::optional<double> maxMs; ///< Of the slowest run.
    bool operator==(const PerfBudget&) const = default;
};

enum class BudgetVerdict { within, over, unbudgeted };
constexpr auto namesOf(BudgetVerdict)
{
    using namespace std::string_view_literals;
    return std::array{"within"sv, "over"sv, "unbudgeted"sv};
}

/// Budgets by the operation's name, as a TOML file holds them: a table for each operation ("[snapshot.build]") with
/// "p95_ms" and "max_ms". A value; thread-safe like a standard container.
class PerfBudgets {
public:
    PerfBudgets() = default;
    /// Reads such a file; other keys are ignored. Throws TOMLError.
    explicit PerfBudgets(std::string_view text);

    std::map<std::string, PerfBudget, std::less<>> budgets;

    /// Reaching a limit is still within it.
    [[nodiscard]] BudgetVerdict verdict(std::string_view name, const BenchStats& stats) const;

    using Run = std::pair<std::string, BenchStats>; // an operation's name and its timings
    /// A copy in which every run's 95th percentile times `headroom` is its new limit, rounded up to two significant
    /// digits and at least 0.01. Limits of the slowest run stay as they are.
    [[nodiscard]] PerfBudgets recording(const std::vector<Run>& runs, double headroom) const;

    /// The file that holds these budgets, under `header` (lines of text, without "#") as a comment.
    [[nodiscard]] std::string render(std::string_view header) const;

    bool operator==(const PerfBudgets&) const = default;
};

} // namespace tarnel
