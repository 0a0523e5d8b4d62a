// TarnelCore/Records/StatusLine.h: model, context use and usage limit of one agent, at a glance.
#pragma once
#include "TarnelCore/JSON/Record.h"
#include <cstdint>
#include <optional>
#include <string>

namespace tarnel {

struct StatusLine {
    std::optional<std::string> model;  ///< As the agent records it.
    std::optional<std::string> effort; ///< Reasoning effort.
    std::optional<std::int64_t> contextUsed;   ///< Tokens.
    std::optional<std::int64_t> contextWindow; ///< Tokens.
    std::optional<double> limitUsedPercent;    ///< Of the tightest usage limit, 0 to 100.
    std::optional<std::int64_t> limitWindowMinutes;
    std::optional<Timestamp> limitResetsAt;
    std::optional<std::string> mode; ///< Read from the screen, never from a record.

    bool operator==(const StatusLine&) const = default;
    static constexpr auto fields()
    {
        using T = StatusLine;
        return std::tuple{Field{"model", &T::model}, Field{"effort", &T::effort}, Field{"contextUsed", &T::contextUsed},
            Field{"contextWindow", &T::contextWindow}, Field{"limitUsedPercent", &T::limitUsedPercent},
            Field{"limitWindowMinutes", &T::limitWindowMinutes}, Field{"limitResetsAt", &T::limitResetsAt},
            Field{"mode", &T::mode}};
    }

    /// Whether model, context use, limit percentage and mode are all absent; the other fields do not count.
    [[nodiscard]] bool isEmpty() const;

    [[nodiscard]] std::optional<std::string> modelLabel() const;       ///< "opus 4.5", "model-x high"
    [[nodiscard]] std::optional<std::int64_t> contextPercent() const;  ///< 0 to 100
    [[nodiscard]] std::optional<std::string> contextLabel() const;     ///< "ctx 37%", "ctx 45k"
    [[nodiscard]] std::optional<std::string> limitLabel() const;       ///< "5h 42%", "wk 7%"
    [[nodiscard]] std::optional<std::string> modeLabel() const;        ///< "plan" for "plan mode"

    /// A compact token count: "999", "45k", "1.2M".
    static std::string tokens(std::int64_t count);

    /// Takes over from `other` what is absent here.
    void merge(const StatusLine& other);
};

} // namespace tarnel
