// TarnelCore/Records/ViewMembers.h: takes members out of decoded values that may be absent.
#pragma once
#include "TarnelCore/JSON/JSONDocument.h"
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

/// The members of `object` under `keys`, in the order of the keys; none when there is no object.
template <std::size_t count>
std::array<std::optional<JSONView>, count> membersOf(
    const std::optional<JSONView>& object, const std::string_view (&keys)[count])
{
    return object ? object->members(keys) : std::array<std::optional<JSONView>, count>();
}

inline std::optional<JSONView> memberOf(const std::optional<JSONView>& object, std::string_view key)
{
    return object ? (*object)[key] : std::nullopt;
}

inline std::optional<std::string_view> stringOf(const std::optional<JSONView>& value)
{
    return value ? value->string() : std::nullopt;
}

inline std::optional<std::string> textOf(const std::optional<JSONView>& value)
{
    const auto text = stringOf(value);
    return text ? std::optional<std::string>(*text) : std::nullopt;
}

inline bool isTrue(const std::optional<JSONView>& value) { return value && value->boolean() == true; }

/// The strings under "text" of an array's elements, joined with line feeds; other elements are passed over.
inline std::string joinedTexts(const std::optional<JSONView>& elements)
{
    std::string text;
    bool isFirst = true;
    if (elements)
        elements->forEachElement([&](const JSONView& element) {
            const auto piece = stringOf(element["text"]);
            if (!piece)
                return;
            if (!isFirst)
                text += '\n';
            text += *piece;
            isFirst = false;
        });
    return text;
}

} // namespace tarnel
