#include "TarnelCore/JSON/JSON.h"
#include "TarnelCore/JSON/JSONDocument.h"
#include "TarnelCore/JSON/JSONWriter.h"
#include <algorithm>

namespace tarnel {

namespace {

/// The first member whose key is not below `key`.
template <class Members>
auto lowerBound(Members& members, std::string_view key)
{
    return std::lower_bound(members.begin(), members.end(), key,
        [](const JSON::Member& member, std::string_view wanted) { return member.key < wanted; });
}

} // namespace

JSON::Object::Object(std::initializer_list<std::pair<std::string_view, JSON>> list)
{
    members.reserve(list.size());
    for (const auto& [key, value] : list)
        (*this)[key] = value;
}

const JSON* JSON::Object::find(std::string_view key) const
{
    const auto at = lowerBound(members, key);
    return at != members.end() && at->key == key ? &at->value : nullptr;
}

JSON& JSON::Object::operator[](std::string_view key)
{
    auto at = lowerBound(members, key);
    if (at == members.end() || at->key != key)
        at = members.insert(at, Member{std::string(key), JSON()});
    return at->value;
}

void JSON::Object::erase(std::string_view key)
{
    const auto at = lowerBound(members, key);
    if (at != members.end() && at->key == key)
        members.erase(at);
}

std::optional<bool> JSON::boolean() const
{
    const bool* value = std::get_if<bool>(&payload);
    return value ? std::optional(*value) : std::nullopt;
}

std::optional<double> JSON::number() const
{
    const double* value = std::get_if<double>(&payload);
    return value ? std::optional(*value) : std::nullopt;
}

std::optional<std::int64_t> JSON::integer() const
{
    const double* value = std::get_if<double>(&payload);
    return value ? truncatedInteger(*value) : std::nullopt;
}

const JSON* JSON::operator[](std::string_view key) const
{
    const Object* members = object();
    return members ? members->find(key) : nullptr;
}

const JSON* JSON::operator[](std::int64_t index) const
{
    const Array* elements = array();
    if (!elements || index < 0 || static_cast<std::size_t>(index) >= elements->size())
        return nullptr;
    return &(*elements)[static_cast<std::size_t>(index)];
}

std::optional<JSON> JSON::parseLine(std::string_view line)
{
    const auto view = JSONDocument::shared().parse(line);
    return view ? std::optional(view->value()) : std::nullopt;
}

JSON JSON::parse(std::string_view text)
{
    if (auto value = parseLine(text))
        return *std::move(value);
    throw DecodingError("not JSON");
}

std::string JSON::serialized() const
{
    JSONWriter writer;
    writer.write(*this);
    return writer.take();
}

} // namespace tarnel
