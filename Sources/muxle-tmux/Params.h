// muxle-tmux/Params.h: the parameters of a request, read by name and type.
#pragma once
#include "TarnelCore/JSON/JSON.h"
#include "muxle-tmux/TmuxError.h"
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel::tmux {

/// Reads members of the object `params`. An optional one may be absent or null; one of another type than expected, or
/// missing where it is required, throws TmuxError::invalidParams.
class Params {
public:
    explicit Params(const JSON::Object& object)
        : members(object)
    {
    }

    [[nodiscard]] std::optional<std::string> string(std::string_view name) const
    {
        const JSON* member = find(name);
        return member
            ? std::optional(typed(member->string() ? std::optional(*member->string()) : std::nullopt, name, "a string"))
            : std::nullopt;
    }

    [[nodiscard]] std::string required(std::string_view name) const
    {
        if (auto value = string(name))
            return *std::move(value);
        throw TmuxError::invalidParams("missing parameter \"" + std::string(name) + "\"");
    }

    [[nodiscard]] std::optional<bool> boolean(std::string_view name) const
    {
        const JSON* member = find(name);
        return member ? std::optional(typed(member->boolean(), name, "true or false")) : std::nullopt;
    }

    [[nodiscard]] std::optional<double> number(std::string_view name) const
    {
        const JSON* member = find(name);
        return member ? std::optional(typed(member->number(), name, "a number")) : std::nullopt;
    }

    [[nodiscard]] std::optional<std::int64_t> integer(std::string_view name) const
    {
        const JSON* member = find(name);
        if (!member)
            return std::nullopt;
        const auto value = member->integer();
        const bool isWhole = value && static_cast<double>(*value) == *member->number();
        return typed(isWhole ? value : std::nullopt, name, "a whole number");
    }

    [[nodiscard]] const JSON::Array& requiredArray(std::string_view name) const
    {
        const JSON* member = find(name);
        if (!member)
            throw TmuxError::invalidParams("missing parameter \"" + std::string(name) + "\"");
        if (!member->array())
            throw TmuxError::invalidParams("\"" + std::string(name) + "\" must be an array");
        return *member->array();
    }

private:
    [[nodiscard]] const JSON* find(std::string_view name) const
    {
        const JSON* member = members.find(name);
        return member && !member->isNull() ? member : nullptr;
    }

    template <class T> static T typed(std::optional<T> value, std::string_view name, std::string_view type)
    {
        if (value)
            return *std::move(value);
        throw TmuxError::invalidParams("\"" + std::string(name) + "\" must be " + std::string(type));
    }

    const JSON::Object& members;
};

} // namespace tarnel::tmux
