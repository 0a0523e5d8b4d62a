#include "TarnelCore/Records/StatusLine.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <tuple>

namespace tarnel {

namespace {

constexpr std::int64_t minutesPerWeek = 10080;
constexpr std::size_t dateLength = 8; // "20251101"

/// With so many digits after the point, whatever the locale.
std::string fixed(double value, int decimals)
{
    std::array<char, 400> digits{}; // the largest double has 309 before the point
    const auto end =
        std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed, decimals).ptr;
    return {digits.data(), end};
}

/// Half away from zero; never "-0".
double rounded(double value) { return std::round(value) + 0.0; }

bool isDate(std::string_view piece)
{
    return piece.size() == dateLength
        && std::all_of(piece.begin(), piece.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// "opus 4.5" for "claude-opus-4-5-20251101"; any other model as it stands.
std::string shortModel(std::string_view model)
{
    constexpr std::string_view family = "claude-";
    if (!model.starts_with(family))
        return std::string(model);
    std::vector<std::string_view> pieces = Text::splitNonEmpty(model.substr(family.size()), '-');
    if (!pieces.empty() && isDate(pieces.back()))
        pieces.pop_back();
    if (pieces.empty())
        return std::string(model);
    const std::string name(pieces.front());
    pieces.erase(pieces.begin());
    const std::string version = Text::joined(pieces, ".");
    return version.empty() ? name : name + " " + version;
}

std::string windowName(const std::optional<std::int64_t>& minutes)
{
    if (!minutes)
        return "limit";
    if (*minutes == minutesPerWeek)
        return "wk";
    return *minutes < 60 ? std::to_string(*minutes) + "m" : std::to_string(*minutes / 60) + "h";
}

} // namespace

bool StatusLine::isEmpty() const { return !model && !contextUsed && !limitUsedPercent && !mode; }

std::optional<std::string> StatusLine::modelLabel() const
{
    if (!model || model->empty())
        return std::nullopt;
    const std::string name = shortModel(*model);
    return effort && !effort->empty() ? name + " " + *effort : name;
}

std::optional<std::int64_t> StatusLine::contextPercent() const
{
    if (!contextUsed || !contextWindow || *contextWindow < 1)
        return std::nullopt;
    const double percent = static_cast<double>(*contextUsed) * 100 / static_cast<double>(*contextWindow);
    return static_cast<std::int64_t>(std::clamp(std::round(percent), 0.0, 100.0));
}

std::optional<std::string> StatusLine::contextLabel() const
{
    if (!contextUsed)
        return std::nullopt;
    if (const auto percent = contextPercent())
        return "ctx " + std::to_string(*percent) + "%";
    return "ctx " + tokens(*contextUsed);
}

std::optional<std::string> StatusLine::limitLabel() const
{
    if (!limitUsedPercent)
        return std::nullopt;
    return windowName(limitWindowMinutes) + " " + fixed(rounded(*limitUsedPercent), 0) + "%";
}

std::optional<std::string> StatusLine::modeLabel() const
{
    if (!mode || mode->empty())
        return std::nullopt;
    constexpr std::string_view ending = " mode";
    return mode->ends_with(ending) ? mode->substr(0, mode->size() - ending.size()) : *mode;
}

std::string StatusLine::tokens(std::int64_t count)
{
    if (count >= 1'000'000)
        return fixed(static_cast<double>(count) / 1e6, 1) + "M";
    return count < 1000 ? std::to_string(count) : std::to_string(count / 1000) + "k";
}

void StatusLine::merge(const StatusLine& other)
{
    const auto take = [&](const auto& field) {
        auto& mine = this->*field.member;
        if (!mine)
            mine = other.*field.member;
    };
    std::apply([&](const auto&... field) { (take(field), ...); }, fields());
}

} // namespace tarnel
