// Bench/Plot.h: line charts as SVG.
#pragma once
#include <string>
#include <utility>
#include <vector>

namespace tarnel::bench {

/// One line of a chart; both coordinates are positive.
struct Series {
    std::string name;
    std::vector<std::pair<double, double>> points;
};

/// A chart whose axes are both logarithmic.
struct Chart {
    std::string title;
    std::string horizontal; ///< What the axis counts.
    std::vector<Series> series;
};

/// The charts side by side, as one SVG document.
std::string plot(const std::vector<Chart>& charts);

} // namespace tarnel::bench
