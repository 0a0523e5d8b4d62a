#include "TarnelCore/JSON/JSONDocument.h"
#include "TarnelCore/JSON/JSONNumber.h"
#include <algorithm>
#include <bit>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace tarnel {

namespace {

/// A decoder's memory is some ten times its longest text; what one huge text needed is given back.
constexpr std::size_t keptCapacity = std::size_t{1} << 20;

bool isNumberStart(char c) { return c == '-' || (c >= '0' && c <= '9'); }

} // namespace

std::optional<std::int64_t> truncatedInteger(double value)
{
    constexpr double limit = 9223372036854775808.0; // 2 to the 63rd
    if (!(value >= -limit && value < limit)) // also false for not-a-number
        return std::nullopt;
    return static_cast<std::int64_t>(value);
}

bool JSONView::isNull() const { return index->first(part) == 'n'; }
bool JSONView::isObject() const { return index->first(part) == '{'; }
bool JSONView::isArray() const { return index->first(part) == '['; }

std::optional<bool> JSONView::boolean() const
{
    const char first = index->first(part);
    return first == 't' || first == 'f' ? std::optional(first == 't') : std::nullopt;
}

std::optional<double> JSONView::number() const
{
    return isNumberStart(index->first(part)) ? std::optional(JSONNumber::value(index->written(part))) : std::nullopt;
}

std::optional<std::int64_t> JSONView::integer() const
{
    const auto decoded = number();
    return decoded ? truncatedInteger(*decoded) : std::nullopt;
}

std::optional<std::string_view> JSONView::string() const
{
    return index->first(part) == '"' ? std::optional(index->string(part)) : std::nullopt;
}

std::optional<JSONView> JSONView::operator[](std::string_view key) const
{
    std::optional<JSONView> found;
    findMembers({&key, 1}, {&found, 1});
    return found;
}

void JSONView::findMembers(std::span<const std::string_view> keys, std::span<std::optional<JSONView>> found) const
{
    for (Part at = firstChild('{'); at != 0; at = index->nextChild(at + 2)) {
        const std::string_view key = index->string(at);
        for (std::size_t i = 0; i < keys.size(); ++i) {
            // Most keys differ in length or already in their first byte; finding that out here costs less than a call.
            if (key.size() == keys[i].size() && (key.empty() || key[0] == keys[i][0]) && key == keys[i])
                found[i] = valueUnder(at);
        }
    }
}

JSON JSONView::value() const
{
    switch (index->first(part)) {
    case '{': {
        JSON::Object object;
        std::vector<JSON::Member>& members = object.members;
        forEachMember([&](std::string_view key, const JSONView& each) {
            members.push_back({std::string(key), each.value()});
        });
        const auto isInOrder = [](const auto& a, const auto& b) { return a.key < b.key; };
        if (std::adjacent_find(members.begin(), members.end(), std::not_fn(isInOrder)) == members.end())
            return object;
        // Sorted stably and each key's last kept: of a repeated key the last counts.
        std::stable_sort(members.begin(), members.end(), isInOrder);
        const auto kept =
            std::unique(members.rbegin(), members.rend(), [](const auto& a, const auto& b) { return a.key == b.key; });
        members.erase(members.begin(), kept.base());
        return object;
    }
    case '[': {
        JSON::Array elements;
        forEachElement([&](const JSONView& each) { elements.push_back(each.value()); });
        return elements;
    }
    case '"':
        return std::string(index->string(part));
    case 't':
        return true;
    case 'f':
        return false;
    case 'n':
        return nullptr;
    default:
        return JSONNumber::value(index->written(part));
    }
}

std::optional<JSONView> JSONDocument::parse(std::string_view text)
{
    if (copyRoom < text.size() || !copy || (copyRoom > keptCapacity && text.size() <= keptCapacity)) {
        copyRoom = std::bit_ceil(std::max<std::size_t>(text.size(), 1));
        copy.reset(); // first: the two are never needed at once
        copy = std::make_unique_for_overwrite<char[]>(copyRoom + padding);
    }
    if (!text.empty())
        std::memcpy(copy.get(), text.data(), text.size());
    return parsePadded({copy.get(), text.size()});
}

std::optional<JSONView> JSONDocument::parsePadded(std::string_view text)
{
    if (index.capacity() > keptCapacity && text.size() <= keptCapacity)
        index.clear();
    return index.read(text) ? std::optional(JSONView(index, 0)) : std::nullopt;
}

void JSONDocument::shrink()
{
    if (index.capacity() > keptCapacity)
        index.clear();
    if (copyRoom > keptCapacity) {
        copy.reset();
        copyRoom = 0;
    }
}

JSONDocument& JSONDocument::shared()
{
    static thread_local JSONDocument document;
    return document;
}

} // namespace tarnel
