#include "Bench/Plot.h"
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string_view>

namespace tarnel::bench {

namespace {

constexpr double chartWidth = 420;
constexpr double chartHeight = 320;
constexpr double left = 60;
constexpr double right = 20;
constexpr double top = 40;
constexpr double bottom = 80;
constexpr std::array<std::string_view, 5> colors{"#2f6fb0", "#c2571a", "#3c8a4e", "#8a4ea8", "#666666"};

std::string number(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.5g", value);
    return text;
}

std::string tag(std::string_view name, const std::string& attributes, const std::string& content = "")
{
    return "<" + std::string(name) + " " + attributes + ">" + content + "</" + std::string(name) + ">\n";
}

std::string text(double x, double y, const std::string& content, const std::string& more = "")
{
    return tag("text", "x=\"" + number(x) + "\" y=\"" + number(y) + "\" " + more, content);
}

std::string line(double x1, double y1, double x2, double y2)
{
    return tag("line",
        "x1=\"" + number(x1) + "\" y1=\"" + number(y1) + "\" x2=\"" + number(x2) + "\" y2=\"" + number(y2)
            + "\" stroke=\"#dddddd\"");
}

/// A logarithmic axis over whole decades.
class Axis {
public:
    Axis(double least, double most, double from, double to)
        : first(std::floor(std::log10(least)))
        , last(std::max(first + 1, std::ceil(std::log10(most))))
        , start(from)
        , end(to)
    {
    }
    [[nodiscard]] double at(double value) const
    {
        return start + (std::log10(value) - first) / (last - first) * (end - start);
    }
    [[nodiscard]] std::vector<double> ticks() const
    {
        std::vector<double> values;
        for (double decade = first; decade <= last; ++decade)
            values.push_back(std::pow(10, decade));
        return values;
    }

private:
    const double first; // decades
    const double last;
    const double start; // of the drawing
    const double end;
};

std::string draw(const Chart& chart, double offset)
{
    std::vector<double> xs;
    std::vector<double> ys;
    for (const Series& series : chart.series) {
        for (const auto& [x, y] : series.points) {
            xs.push_back(x);
            ys.push_back(y);
        }
    }
    const auto [leastX, mostX] = std::minmax_element(xs.begin(), xs.end());
    const auto [leastY, mostY] = std::minmax_element(ys.begin(), ys.end());
    const Axis across(*leastX, *mostX, offset + left, offset + chartWidth - right);
    const Axis up(*leastY, *mostY, chartHeight - bottom, top);
    std::string drawn = text(offset + left, top - 16, chart.title, R"(font-weight="bold")");
    for (const double tick : across.ticks()) {
        drawn += line(across.at(tick), top, across.at(tick), chartHeight - bottom);
        drawn += text(across.at(tick), chartHeight - bottom + 16, number(tick), R"(text-anchor="middle")");
    }
    for (const double tick : up.ticks()) {
        drawn += line(offset + left, up.at(tick), offset + chartWidth - right, up.at(tick));
        drawn += text(offset + left - 6, up.at(tick) + 4, number(tick), R"(text-anchor="end")");
    }
    drawn += text(offset + chartWidth - right, chartHeight - bottom + 32, chart.horizontal, R"(text-anchor="end")");
    double legend = chartHeight - bottom + 32;
    for (std::size_t i = 0; i < chart.series.size(); ++i) {
        const std::string color(colors[i % colors.size()]);
        std::string points;
        for (const auto& [x, y] : chart.series[i].points)
            points += number(across.at(x)) + "," + number(up.at(y)) + " ";
        drawn += tag("polyline", "fill=\"none\" stroke-width=\"2\" stroke=\"" + color + "\" points=\"" + points + "\"");
        drawn += text(offset + left, legend, chart.series[i].name, "fill=\"" + color + "\"");
        legend += 15;
    }
    return drawn;
}

} // namespace

std::string plot(const std::vector<Chart>& charts)
{
    std::string drawn;
    for (std::size_t i = 0; i < charts.size(); ++i)
        drawn += draw(charts[i], static_cast<double>(i) * chartWidth);
    const std::string size =
        number(chartWidth * static_cast<double>(charts.size())) + "\" height=\"" + number(chartHeight);
    return tag("svg",
        "xmlns=\"http://www.w3.org/2000/svg\" font-family=\"sans-serif\" font-size=\"12\" width=\"" + size + "\"",
        "\n" + tag("rect", "width=\"100%\" height=\"100%\" fill=\"white\"") + drawn);
}

} // namespace tarnel::bench
