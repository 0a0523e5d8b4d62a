#include "TarnelCore/Records/StatusLine.h"
#include <gtest/gtest.h>
#include <limits>

namespace tarnel {

namespace {

using Text = std::optional<std::string>;

constexpr std::int64_t mostTokens = std::numeric_limits<std::int64_t>::max();

TEST(StatusLine, namesModels)
{
    struct Case {
        Text model;
        Text effort;
        Text label;
    };
    const Case cases[] = {
        {"claude-opus-4-5-20251101", {}, "opus 4.5"},
        {"claude-sonnet-4-20250514", {}, "sonnet 4"},
        {"claude-haiku-4-5", {}, "haiku 4.5"},
        {"claude-opus", "high", "opus high"},
        {"claude-opus-4-2025110", {}, "opus 4.2025110"}, // seven digits are no date
        {"claude-opus-4-2025110x", {}, "opus 4.2025110x"},
        {"claude--opus--4-", {}, "opus 4"},
        {"claude-", {}, "claude-"},
        {"claude-20250514", {}, "claude-20250514"},
        {"model-x", "high", "model-x high"},
        {"model-x", "", "model-x"},
        {"", "high", {}},
        {{}, "high", {}},
    };
    for (const Case& c : cases)
        EXPECT_EQ((StatusLine{.model = c.model, .effort = c.effort}.modelLabel()), c.label) << c.model.value_or("none");
}

TEST(StatusLine, tellsContextUse)
{
    struct Case {
        std::optional<std::int64_t> used;
        std::optional<std::int64_t> window;
        std::optional<std::int64_t> percent;
        Text label;
    };
    const Case cases[] = {
        {45'678, {}, {}, "ctx 45k"},
        {45'678, 0, {}, "ctx 45k"},
        {45'678, 200'000, 23, "ctx 23%"},
        {25, 1000, 3, "ctx 3%"}, // half away from zero
        {300'000, 200'000, 100, "ctx 100%"},
        {mostTokens, 1, 100, "ctx 100%"},
        {-5, 10, 0, "ctx 0%"},
        {0, 1, 0, "ctx 0%"},
        {{}, 200'000, {}, {}},
        {999, {}, {}, "ctx 999"},
        {1000, {}, {}, "ctx 1k"},
        {999'999, {}, {}, "ctx 999k"},
        {1'000'000, {}, {}, "ctx 1.0M"},
        {1'234'567, {}, {}, "ctx 1.2M"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.label.value_or("none"));
        const StatusLine status{.contextUsed = c.used, .contextWindow = c.window};
        EXPECT_EQ(status.contextPercent(), c.percent);
        EXPECT_EQ(status.contextLabel(), c.label);
    }
}

TEST(StatusLine, tellsLimitAndMode)
{
    struct Case {
        std::optional<double> used;
        std::optional<std::int64_t> minutes;
        Text label;
    };
    const Case cases[] = {{42.4, 300, "5h 42%"}, {6.5, 10080, "wk 7%"}, {12, {}, "limit 12%"}, {1, 45, "45m 1%"},
        {1, 90, "1h 1%"}, {1, 20160, "336h 1%"}, {-0.2, 59, "59m 0%"}, {{}, 300, {}}};
    for (const Case& c : cases)
        EXPECT_EQ((StatusLine{.limitUsedPercent = c.used, .limitWindowMinutes = c.minutes}.limitLabel()), c.label);
    const std::pair<Text, Text> modes[] = {
        {"plan mode", "plan"}, {"plan mode mode", "plan mode"}, {"auto", "auto"}, {"", {}}, {{}, {}}};
    for (const auto& [mode, label] : modes)
        EXPECT_EQ((StatusLine{.mode = mode}.modeLabel()), label);
}

TEST(StatusLine, mergesOnlyIntoGaps)
{
    StatusLine status{.contextUsed = 1, .limitResetsAt = Timestamp{}};
    const StatusLine other{.model = "m",
        .effort = "e",
        .contextUsed = 2,
        .contextWindow = 3,
        .limitUsedPercent = 4.0,
        .limitWindowMinutes = 5,
        .mode = "plan"};
    status.merge(other);
    StatusLine expected = other;
    expected.contextUsed = 1;
    expected.limitResetsAt = Timestamp{};
    EXPECT_EQ(status, expected);
    EXPECT_TRUE((StatusLine{.effort = "high", .contextWindow = 1, .limitWindowMinutes = 1}.isEmpty()));
    EXPECT_FALSE((StatusLine{.mode = "plan"}.isEmpty()));
}

} // namespace

} // namespace tarnel
