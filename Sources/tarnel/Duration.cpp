#include "tarnel/Duration.h"
#include "TarnelCore/Base/Decimal.h"
#include <algorithm>
#include <array>
#include <utility>

namespace tarnel {

namespace {

using Unit = std::pair<std::string_view, double>;
constexpr std::array<Unit, 6> units{{{"", 1}, {"ms", 0.001}, {"s", 1}, {"m", 60}, {"h", 3600}, {"d", 86400}}};
constexpr double longest = 1000.0 * 86400;

} // namespace

std::optional<std::chrono::duration<double>> Duration::parse(std::string_view text)
{
    const std::size_t length = std::min(text.find_first_not_of("0123456789."), text.size());
    const auto number = decimalNumber(text.substr(0, length));
    const auto unit =
        std::find_if(units.begin(), units.end(), [&](const Unit& each) { return each.first == text.substr(length); });
    if (!number || unit == units.end())
        return std::nullopt;
    const double seconds = *number * unit->second;
    if (!(seconds > 0 && seconds <= longest))
        return std::nullopt;
    return std::chrono::duration<double>(seconds);
}

std::string Duration::brief(Timestamp::duration duration)
{
    const auto seconds = std::max<std::int64_t>(0, std::chrono::floor<std::chrono::seconds>(duration).count());
    constexpr std::array<std::pair<std::int64_t, std::string_view>, 3> lengths{
        {{86400, " d"}, {3600, " h"}, {60, " m"}}};
    for (const auto& [length, name] : lengths) {
        if (seconds >= length)
            return std::to_string(seconds / length) + std::string(name);
    }
    return std::to_string(seconds) + " s";
}

} // namespace tarnel
