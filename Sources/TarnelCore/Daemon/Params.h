// TarnelCore/Daemon/Params.h: the parameters of a request, by type.
#pragma once
#include "TarnelCore/Daemon/DaemonError.h"
#include "TarnelCore/JSON/JSON.h"
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// Reads typed parameters. One of the wrong type counts as absent. The object outlives this view of it.
class Params {
public:
    explicit Params(const JSON::Object& members)
        : members(members)
    {
    }

    [[nodiscard]] std::optional<std::string> string(std::string_view name) const { return stringOf(members.find(name)); }
    [[nodiscard]] std::optional<std::int64_t> integer(std::string_view name) const
    {
        return integerOf(members.find(name));
    }
    [[nodiscard]] std::optional<bool> boolean(std::string_view name) const { return booleanOf(members.find(name)); }
    [[nodiscard]] const JSON::Object* object(std::string_view name) const
    {
        const JSON* value = members.find(name);
        return value ? value->object() : nullptr;
    }

    /// The strings among the elements of an array, in order; absent when there is no array.
    [[nodiscard]] std::optional<std::vector<std::string>> strings(std::string_view name) const
    {
        const JSON* value = members.find(name);
        if (!value || !value->array())
            return std::nullopt;
        std::vector<std::string> found;
        for (const JSON& element : *value->array()) {
            if (const std::string* text = element.string())
                found.push_back(*text);
        }
        return found;
    }

    /// Throws DaemonError::missing when it is absent.
    [[nodiscard]] std::string requiredString(std::string_view name) const
    {
        if (auto value = string(name))
            return *std::move(value);
        throw DaemonError::missing(std::string(name));
    }

    [[nodiscard]] const JSON::Object& all() const { return members; }

private:
    const JSON::Object& members;
};

} // namespace tarnel
