// Bench/Row.h: one row of the table of goals, and how it is measured.
#pragma once
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel::bench {

/// A figure and what it is held against, taken in turns in the same run. A count that stands for itself has the
/// reference 1.
struct Sample {
    double subject = 0; ///< In the row's unit.
    double reference = 1;
    [[nodiscard]] double ratio() const { return subject / reference; }
};

/// Takes one sample; called several times for one row.
using Measure = std::function<Sample()>;

/// One row.
struct Row {
    int number = 0;
    std::string name; ///< Also of its tables in goals.toml.
    std::string what; ///< For people.
    std::string unit; ///< Of subject and reference: "ms", "MiB", "calls".
    std::string ratioUnit; ///< Behind the ratio: "D", "E"; may be empty.
    /// Sets up what is measured; it goes with the function returned.
    std::function<Measure()> prepare;
};

/// The rows of one subject; each adds what it measures.
std::vector<Row> recordRows();
std::vector<Row> requestRows();
std::vector<Row> snapshotRows();
std::vector<Row> processRows();

} // namespace tarnel::bench
