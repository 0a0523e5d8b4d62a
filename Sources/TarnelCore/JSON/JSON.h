// TarnelCore/JSON/JSON.h: the one dynamic value type of the system.
#pragma once
#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace tarnel {

/// A text is not JSON, or a JSON value is not the record that it should be. The text says what and where.
class DecodingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A JSON value: null, a boolean, a number, a string, an array or an object. A value type, compared by content.
/// Numbers are doubles. Objects are kept sorted by key (byte order), each key once.
/// Thread-safety: that of a standard container.
class JSON {
public:
    using Array = std::vector<JSON>;
    struct Member;

    /// The members of an object, in ascending order of their keys.
    class Object {
    public:
        Object();
        Object(const Object& other);
        Object(Object&& other) noexcept;
        Object& operator=(const Object& other);
        Object& operator=(Object&& other) noexcept;
        ~Object();
        /// Of a repeated key the last counts.
        Object(std::initializer_list<std::pair<std::string_view, JSON>> members);

        [[nodiscard]] const JSON* find(std::string_view key) const;
        /// The value under `key`, which is null when it is new.
        JSON& operator[](std::string_view key);
        void erase(std::string_view key);

        [[nodiscard]] std::size_t size() const;
        [[nodiscard]] bool empty() const;
        [[nodiscard]] std::vector<Member>::const_iterator begin() const;
        [[nodiscard]] std::vector<Member>::const_iterator end() const;
        bool operator==(const Object& other) const;

    private:
        friend class JSONView;
        std::vector<Member> members;
    };

    JSON() = default;
    JSON(std::nullptr_t) { }
    JSON(bool value)
        : payload(value)
    {
    }
    template <class Number>
        requires(std::integral<Number> || std::floating_point<Number>) && (!std::same_as<Number, bool>)
    JSON(Number value)
        : payload(static_cast<double>(value))
    {
    }
    JSON(const char* text)
        : payload(std::string(text))
    {
    }
    JSON(std::string_view text)
        : payload(std::string(text))
    {
    }
    JSON(std::string text)
        : payload(std::move(text))
    {
    }
    JSON(Array elements)
        : payload(std::move(elements))
    {
    }
    JSON(Object members)
        : payload(std::move(members))
    {
    }
    /// An object literal: `JSON::object({{"a", 1}})`.
    static JSON object(std::initializer_list<std::pair<std::string_view, JSON>> members) { return Object(members); }

    [[nodiscard]] bool isNull() const { return std::holds_alternative<std::nullptr_t>(payload); }
    [[nodiscard]] std::optional<bool> boolean() const;
    [[nodiscard]] std::optional<double> number() const;
    /// The number cut off toward zero; nothing when it is not finite or does not fit.
    [[nodiscard]] std::optional<std::int64_t> integer() const;
    /// The text, array or members; null when the value is of another case. They live as long as the value.
    [[nodiscard]] const std::string* string() const { return std::get_if<std::string>(&payload); }
    [[nodiscard]] const Array* array() const { return std::get_if<Array>(&payload); }
    [[nodiscard]] const Object* object() const { return std::get_if<Object>(&payload); }
    [[nodiscard]] Array* array() { return std::get_if<Array>(&payload); }
    [[nodiscard]] Object* object() { return std::get_if<Object>(&payload); }

    /// The member under `key`, or null when this is no object or has none.
    [[nodiscard]] const JSON* operator[](std::string_view key) const;
    [[nodiscard]] const JSON* operator[](const char* key) const { return (*this)[std::string_view(key)]; }
    /// The element at `index`, or null when this is no array or has none.
    [[nodiscard]] const JSON* operator[](std::int64_t index) const;
    [[nodiscard]] const JSON* operator[](int index) const { return (*this)[std::int64_t{index}]; }

    /// Reads one JSON text: UTF-8, nested at most 512 deep, numbers within a double's range (of any length, read as the
    /// nearest double). An escape of a lone surrogate reads as U+FFFD; of a repeated key the last counts.
    /// Throws DecodingError when `text` is not JSON.
    static JSON parse(std::string_view text);

    /// The same for one line; nothing when it is not JSON.
    static std::optional<JSON> parseLine(std::string_view line);

    /// JSON text without white space, keys ascending, slashes as they are; "null" when a number is not finite.
    [[nodiscard]] std::string serialized() const;

    bool operator==(const JSON&) const = default;

private:
    friend class JSONView;
    std::variant<std::nullptr_t, bool, double, std::string, Array, Object> payload = nullptr;
};

struct JSON::Member {
    std::string key;
    JSON value;
    bool operator==(const Member&) const = default;
};

inline JSON::Object::Object() = default;
inline JSON::Object::Object(const Object& other) = default;
inline JSON::Object::Object(Object&& other) noexcept = default;
inline JSON::Object& JSON::Object::operator=(const Object& other) = default;
inline JSON::Object& JSON::Object::operator=(Object&& other) noexcept = default;
inline JSON::Object::~Object() = default;
inline std::size_t JSON::Object::size() const { return members.size(); }
inline bool JSON::Object::empty() const { return members.empty(); }
inline std::vector<JSON::Member>::const_iterator JSON::Object::begin() const { return members.begin(); }
inline std::vector<JSON::Member>::const_iterator JSON::Object::end() const { return members.end(); }
inline bool JSON::Object::operator==(const Object& other) const { return members == other.members; }

/// The string, boolean or number that `value` points to; nothing when it points nowhere or to another case.
inline std::optional<std::string> stringOf(const JSON* value)
{
    const std::string* text = value ? value->string() : nullptr;
    return text ? std::optional(*text) : std::nullopt;
}
inline std::optional<bool> booleanOf(const JSON* value) { return value ? value->boolean() : std::nullopt; }
inline std::optional<double> numberOf(const JSON* value) { return value ? value->number() : std::nullopt; }
inline std::optional<std::int64_t> integerOf(const JSON* value) { return value ? value->integer() : std::nullopt; }

} // namespace tarnel
