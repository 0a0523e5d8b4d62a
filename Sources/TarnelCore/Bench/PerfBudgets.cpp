#include "TarnelCore/Bench/PerfBudgets.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Config/TOML.h"
#include <array>
#include <charconv>
#include <cmath>

namespace tarnel {

namespace {

using Budgets = std::map<std::string, PerfBudget, std::less<>>;

void collect(Budgets& budgets, const JSON::Object& table, const std::string& path)
{
    const PerfBudget budget{numberOf(table.find("p95_ms")), numberOf(table.find("max_ms"))};
    if (budget.p95Ms || budget.maxMs)
        budgets[path] = budget;
    for (const JSON::Member& member : table) {
        if (const JSON::Object* inner = member.value.object())
            collect(budgets, *inner, path.empty() ? member.key : path + "." + member.key);
    }
}

double roundedUp(double milliseconds)
{
    constexpr double least = 0.01;
    if (!(milliseconds > least))
        return least;
    const double step = std::pow(10, std::floor(std::log10(milliseconds)) - 1);
    return step * std::ceil(milliseconds / step);
}

/// Whole numbers without a fraction, others with six significant digits.
std::string rendered(double value)
{
    std::array<char, 352> digits; // the largest double has 309
    const bool isWhole = value == std::trunc(value);
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value,
        isWhole ? std::chars_format::fixed : std::chars_format::general, isWhole ? 0 : 6)
                         .ptr;
    return {digits.data(), end};
}

} // namespace

PerfBudgets::PerfBudgets(std::string_view text) { collect(budgets, TOML::parse(text), ""); }

BudgetVerdict PerfBudgets::verdict(std::string_view name, const BenchStats& stats) const
{
    const auto found = budgets.find(name);
    if (found == budgets.end())
        return BudgetVerdict::unbudgeted;
    const PerfBudget& budget = found->second;
    const bool isOver = (budget.p95Ms && stats.p95() > *budget.p95Ms) || (budget.maxMs && stats.max() > *budget.maxMs);
    return isOver ? BudgetVerdict::over : BudgetVerdict::within;
}

PerfBudgets PerfBudgets::recording(const std::vector<Run>& runs, double headroom) const
{
    PerfBudgets recorded = *this;
    for (const auto& [name, stats] : runs)
        recorded.budgets[name].p95Ms = roundedUp(headroom * stats.p95());
    return recorded;
}

std::string PerfBudgets::render(std::string_view header) const
{
    std::vector<std::string> lines;
    if (!header.empty()) {
        for (const std::string_view line : Text::split(header, '\n'))
            lines.push_back("# " + std::string(line));
    }
    for (const auto& [name, budget] : budgets) {
        lines.emplace_back();
        lines.push_back("[" + name + "]");
        if (budget.p95Ms)
            lines.push_back("p95_ms = " + rendered(*budget.p95Ms));
        if (budget.maxMs)
            lines.push_back("max_ms = " + rendered(*budget.maxMs));
    }
    return Text::joined(lines, "\n") + "\n";
}

} // namespace tarnel
