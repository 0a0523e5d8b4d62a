// TarnelCore/Records/ViewMembers.h: takes several members out of a decoded object at once.
#pragma once
#include "TarnelCore/JSON/JSONDocument.h"
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

/// The members of `object` under `keys`, in the order of the keys; none when it is no object. Goes over the object
/// once, where one look-up a key would go over it as many times.
template <std::size_t count>
std::array<std::optional<JSONView>, count> membersOf(
    const std::optional<JSONView>& object, const std::string_view (&keys)[count])
{
    std::array<std::optional<JSONView>, count> found;
    if (!object)
        return found;
    object->forEachMember([&](std::string_view key, const JSONView& value) {
        for (std::size_t i = 0; i < count; ++i) {
            if (key == keys[i])
                found[i] = value; // of a repeated key the last counts
        }
    });
    return found;
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
