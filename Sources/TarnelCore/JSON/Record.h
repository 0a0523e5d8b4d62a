// TarnelCore/JSON/Record.h: typed records to and from JSON, from one declaration of their fields.
//
// A record is a struct that names its fields once:
//
//     struct CellRect {
//         std::int64_t x = 0;
//         std::int64_t y = 0;
//         bool operator==(const CellRect&) const = default;
//         static constexpr auto fields() { return std::tuple{Field{"x", &CellRect::x}, Field{"y", &CellRect::y}}; }
//     };
//
// and an enumeration its cases, in their order: `constexpr auto namesOf(Color) { return std::array{"red"sv, ...}; }`.
// An enumeration with payloads is a std::variant of records that each have a `caseName`; in JSON it is an object with
// that one key. Absent optionals are left out when writing, and may be absent or null when reading; all other keys are
// required, unknown ones are ignored.
#pragma once
#include "TarnelCore/Base/Shared.h"
#include "TarnelCore/Base/Timestamp.h"
#include "TarnelCore/JSON/JSON.h"
#include "TarnelCore/JSON/JSONWriter.h"
#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <type_traits>
#include <variant>
#include <vector>

namespace tarnel {

/// One field of a record: its key in JSON and its member.
template <class Owner, class Value>
struct Field {
    std::string_view name;
    Value Owner::*member;
};
template <class Owner, class Value>
Field(const char*, Value Owner::*) -> Field<Owner, Value>;

template <class T>
concept Record = requires { T::fields(); };

template <class T>
concept NamedEnum = std::is_enum_v<T> && requires(T value) { namesOf(value); };

template <class T>
concept VariantCase = Record<T> && requires {
    { T::caseName } -> std::convertible_to<std::string_view>;
};

/// The name of a case, from its enumeration's `namesOf`.
template <NamedEnum T>
constexpr std::string_view nameOf(T value)
{
    return namesOf(value)[static_cast<std::size_t>(value)];
}

/// The case with exactly this name; nothing when there is none.
template <NamedEnum T>
constexpr std::optional<T> enumNamed(std::string_view name)
{
    const auto names = namesOf(T{});
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end())
        return std::nullopt;
    return static_cast<T>(found - names.begin());
}

namespace record {

template <class T>
struct IsOptional : std::false_type { };
template <class T>
struct IsOptional<std::optional<T>> : std::true_type { };

template <class T>
constexpr std::size_t fieldCount = std::tuple_size_v<decltype(T::fields())>;

template <class T>
constexpr auto fieldNames()
{
    return std::apply(
        [](const auto&... field) { return std::array<std::string_view, sizeof...(field)>{field.name...}; }, T::fields());
}

/// The fields' indices in ascending order of their keys.
template <class T>
constexpr auto sortedFields()
{
    constexpr auto names = fieldNames<T>();
    std::array<std::size_t, fieldCount<T>> order{};
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return names[a] < names[b]; });
    return order;
}

/// The bytes that a struct with these members, in this order, takes.
template <class... Members>
constexpr std::size_t packedSize()
{
    std::size_t size = 0;
    std::size_t alignment = 1;
    [[maybe_unused]] const auto place = [&](std::size_t memberSize, std::size_t memberAlignment) {
        size = (size + memberAlignment - 1) / memberAlignment * memberAlignment + memberSize;
        alignment = std::max(alignment, memberAlignment);
    };
    (place(sizeof(Members), alignof(Members)), ...);
    return std::max<std::size_t>((size + alignment - 1) / alignment * alignment, 1);
}

template <class T>
constexpr bool declaresItsWholeSize()
{
    return std::apply(
        []<class... Value>(const Field<T, Value>&...) { return packedSize<Value...>() == sizeof(T); }, T::fields());
}

} // namespace record

template <class T>
void encode(JSONWriter& writer, const T& value);

namespace record {

/// The key of the field `index` as a writer takes it: `,"name":` and a byte more.
template <class T, std::size_t index>
constexpr auto preparedKey()
{
    constexpr std::string_view name = fieldNames<T>()[index];
    static_assert(std::all_of(name.begin(), name.end(),
                      [](char c) { return c > ' ' && c < '\x7F' && c != '"' && c != '\\' && c != '/'; }),
        "a key that would need an escape");
    std::array<char, name.size() + 5> text{',', '"'};
    std::copy(name.begin(), name.end(), text.begin() + 2);
    text[name.size() + 2] = '"';
    text[name.size() + 3] = ':';
    return text;
}

template <class T>
void encodeFields(JSONWriter& writer, const T& value)
{
    static_assert(declaresItsWholeSize<T>(), "fields() leaves out a member, or names them in another order");
    constexpr auto fields = T::fields();
    constexpr auto order = sortedFields<T>();
    const auto one = [&]<std::size_t index>(std::integral_constant<std::size_t, index>) {
        static constexpr auto key = preparedKey<T, index>();
        const auto& member = value.*std::get<index>(fields).member;
        if constexpr (IsOptional<std::remove_cvref_t<decltype(member)>>::value) {
            if (!member)
                return;
        }
        writer.preparedKey(key);
        encode(writer, member);
    };
    writer.beginObject();
    [&]<std::size_t... I>(std::index_sequence<I...>) {
        (one(std::integral_constant<std::size_t, order[I]>()), ...);
    }(std::make_index_sequence<order.size()>());
    writer.endObject();
}

template <class T>
struct Codec; // encode and decode of one kind of type; its specialisations follow

} // namespace record

/// Appends the JSON form of `value`: a record, an enumeration with names, a variant of cases, a plain value, or a
/// container, optional or shared value of these.
template <class T>
void encode(JSONWriter& writer, const T& value)
{
    record::Codec<T>::encode(writer, value);
}

/// The value whose JSON form `json` is. Throws DecodingError when it is not one.
template <class T>
T decode(const JSON& json)
{
    return record::Codec<T>::decode(json);
}

/// The JSON text of `value`; "null" when it holds a number that is not finite.
template <class T>
std::string encoded(const T& value)
{
    JSONWriter writer;
    encode(writer, value);
    return writer.take();
}

/// `value` as a tree; null when it holds a number that is not finite.
template <class T>
JSON jsonValue(const T& value)
{
    return JSON::parseLine(encoded(value)).value_or(JSON());
}

namespace record {

template <class T>
    requires Record<T>
struct Codec<T> {
    static void encode(JSONWriter& writer, const T& value) { encodeFields(writer, value); }

    static T decode(const JSON& json)
    {
        const JSON::Object* members = json.object();
        if (!members)
            throw DecodingError("not an object");
        T value{};
        const auto one = [&]<class Value>(const Field<T, Value>& field) {
            const JSON* member = members->find(field.name);
            if constexpr (IsOptional<Value>::value) {
                if (!member || member->isNull())
                    return;
            } else if (!member) {
                throw DecodingError("missing \"" + std::string(field.name) + "\"");
            }
            try {
                value.*field.member = tarnel::decode<Value>(*member);
            } catch (const DecodingError& error) {
                throw DecodingError(std::string(field.name) + ": " + error.what());
            }
        };
        std::apply([&](const auto&... field) { (one(field), ...); }, T::fields());
        return value;
    }
};

template <class T>
    requires NamedEnum<T>
struct Codec<T> {
    static void encode(JSONWriter& writer, T value) { writer.write(nameOf(value)); }

    static T decode(const JSON& json)
    {
        const std::string* name = json.string();
        if (!name)
            throw DecodingError("not a string");
        if (const auto value = enumNamed<T>(*name))
            return *value;
        throw DecodingError("unknown case \"" + *name + "\"");
    }
};

template <>
struct Codec<bool> {
    static void encode(JSONWriter& writer, bool value) { writer.write(value); }
    static bool decode(const JSON& json)
    {
        if (const auto value = json.boolean())
            return *value;
        throw DecodingError("not a boolean");
    }
};

template <>
struct Codec<std::int64_t> {
    static void encode(JSONWriter& writer, std::int64_t value) { writer.write(value); }
    static std::int64_t decode(const JSON& json)
    {
        const auto value = json.integer();
        if (value && static_cast<double>(*value) == *json.number())
            return *value;
        throw DecodingError("not an integer");
    }
};

template <>
struct Codec<double> {
    static void encode(JSONWriter& writer, double value) { writer.write(value); }
    static double decode(const JSON& json)
    {
        if (const auto value = json.number())
            return *value;
        throw DecodingError("not a number");
    }
};

template <>
struct Codec<std::string> {
    static void encode(JSONWriter& writer, const std::string& value) { writer.write(std::string_view(value)); }
    static std::string decode(const JSON& json)
    {
        if (const std::string* value = json.string())
            return *value;
        throw DecodingError("not a string");
    }
};

template <>
struct Codec<Timestamp> {
    static void encode(JSONWriter& writer, Timestamp value) { writer.write(std::string_view(iso8601(value))); }
    static Timestamp decode(const JSON& json)
    {
        const std::string* text = json.string();
        if (const auto value = text ? parseISO8601(*text) : std::nullopt)
            return *value;
        throw DecodingError("not an ISO 8601 date");
    }
};

template <>
struct Codec<JSON> {
    static void encode(JSONWriter& writer, const JSON& value) { writer.write(value); }
    static JSON decode(const JSON& json) { return json; }
};

template <>
struct Codec<JSON::Object> {
    static void encode(JSONWriter& writer, const JSON::Object& value) { writer.write(JSON(value)); }
    static JSON::Object decode(const JSON& json)
    {
        if (const JSON::Object* value = json.object())
            return *value;
        throw DecodingError("not an object");
    }
};

template <class T>
struct Codec<std::optional<T>> {
    static void encode(JSONWriter& writer, const std::optional<T>& value)
    {
        value ? tarnel::encode(writer, *value) : writer.write(nullptr);
    }
    static std::optional<T> decode(const JSON& json)
    {
        return json.isNull() ? std::nullopt : std::optional<T>(tarnel::decode<T>(json));
    }
};

template <class T>
struct Codec<std::shared_ptr<const T>> {
    static void encode(JSONWriter& writer, const std::shared_ptr<const T>& value)
    {
        value ? tarnel::encode(writer, *value) : writer.write(nullptr);
    }
    static std::shared_ptr<const T> decode(const JSON& json)
    {
        return std::make_shared<const T>(tarnel::decode<T>(json));
    }
};

template <class T>
struct Codec<Shared<T>> {
    static void encode(JSONWriter& writer, const Shared<T>& value) { tarnel::encode(writer, *value); }
    static Shared<T> decode(const JSON& json) { return tarnel::decode<T>(json); }
};

template <class Sequence>
struct SequenceCodec {
    static void encode(JSONWriter& writer, const Sequence& value)
    {
        writer.beginArray();
        for (const auto& each : value) {
            writer.element();
            tarnel::encode(writer, each);
        }
        writer.endArray();
    }
    static Sequence decode(const JSON& json)
    {
        const JSON::Array* elements = json.array();
        if (!elements)
            throw DecodingError("not an array");
        Sequence value;
        for (const JSON& each : *elements)
            value.insert(value.end(), tarnel::decode<typename Sequence::value_type>(each));
        return value;
    }
};

template <class T>
struct Codec<std::vector<T>> : SequenceCodec<std::vector<T>> { };
template <class T>
struct Codec<std::set<T>> : SequenceCodec<std::set<T>> { };

template <class T>
struct Codec<std::map<std::string, T>> {
    static void encode(JSONWriter& writer, const std::map<std::string, T>& value)
    {
        writer.beginObject();
        for (const auto& [key, each] : value) {
            writer.key(key);
            tarnel::encode(writer, each);
        }
        writer.endObject();
    }
    static std::map<std::string, T> decode(const JSON& json)
    {
        const JSON::Object* members = json.object();
        if (!members)
            throw DecodingError("not an object");
        std::map<std::string, T> value;
        for (const JSON::Member& member : *members)
            value.emplace(member.key, tarnel::decode<T>(member.value));
        return value;
    }
};

template <VariantCase... Case>
struct Codec<std::variant<Case...>> {
    static void encode(JSONWriter& writer, const std::variant<Case...>& value)
    {
        std::visit(
            [&]<class T>(const T& chosen) {
                writer.beginObject();
                writer.key(T::caseName);
                tarnel::encode(writer, chosen);
                writer.endObject();
            },
            value);
    }
    static std::variant<Case...> decode(const JSON& json)
    {
        const JSON::Object* members = json.object();
        if (!members)
            throw DecodingError("not an object");
        if (members->size() != 1)
            throw DecodingError("Invalid number of keys found, expected one.");
        const JSON::Member& only = *members->begin();
        std::optional<std::variant<Case...>> value;
        const auto attempt = [&]<class T>(std::type_identity<T>) {
            if (only.key == T::caseName)
                value.emplace(tarnel::decode<T>(only.value));
        };
        (attempt(std::type_identity<Case>()), ...);
        if (!value)
            throw DecodingError("unknown case \"" + only.key + "\"");
        return *std::move(value);
    }
};

} // namespace record

} // namespace tarnel
