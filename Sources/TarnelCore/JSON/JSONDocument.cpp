#include "TarnelCore/JSON/JSONDocument.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <simdjson.h>
#include <string>

namespace tarnel {

namespace {

using simdjson::dom::element;
using simdjson::dom::element_type;

constexpr std::size_t deepestNesting = 512;

/// The decoder counts no level for an empty array or object, so the innermost one may be one too many. What it takes with
/// this limit is never too deep; what it then refuses for its depth is counted.
constexpr std::size_t safeDepth = deepestNesting;
constexpr std::size_t fullDepth = deepestNesting + 1;

/// A decoder's memory is some ten times its longest text; what one huge text needed is given back.
constexpr std::size_t keptCapacity = std::size_t{1} << 20;

template <class To, class From>
To reinterpret(const From& from)
{
    static_assert(sizeof(To) == sizeof(From) && std::is_trivially_copyable_v<To> && std::is_trivially_copyable_v<From>);
    return std::bit_cast<To>(from);
}

/// Replaces, in place, the three bytes of each surrogate by those of U+FFFD: some versions of the decoder let the escape
/// of a lone low surrogate through as bytes that are no UTF-8. Both forms have the same length.
std::string_view withoutSurrogates(std::string_view text)
{
    constexpr char lead = '\xED';
    for (std::size_t at = text.find(lead); at != text.npos; at = text.find(lead, at + 1)) {
        if (at + 2 < text.size() && static_cast<unsigned char>(text[at + 1]) >= 0xA0)
            std::memcpy(const_cast<char*>(text.data()) + at, "\xEF\xBF\xBD", 3); // the document's own memory
    }
    return text;
}

std::string_view stringOf(const element& value) { return withoutSurrogates(value.get_string().value_unsafe()); }

double numberOf(const element& value) { return value.get_double().value_unsafe(); }

/// The code unit of a "\uXXXX" escape at `at`, or nothing when there is none.
std::optional<unsigned> escapedUnit(std::string_view text, std::size_t at)
{
    if (at + 6 > text.size() || text[at] != '\\' || text[at + 1] != 'u')
        return std::nullopt;
    unsigned unit = 0;
    for (const char c : text.substr(at + 2, 4)) {
        if (!std::isxdigit(static_cast<unsigned char>(c)))
            return std::nullopt;
        unit = unit * 16 + static_cast<unsigned>(c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10);
    }
    return unit;
}

/// The text with what the decoder refuses although it is good JSON written so that it takes it: escapes of lone
/// surrogates become those of U+FFFD, integers too long for 64 bits get an exponent.
std::string mended(std::string_view text)
{
    std::string result;
    result.reserve(text.size() + 16);
    bool isInString = false;
    for (std::size_t at = 0; at < text.size();) {
        const char c = text[at];
        if (isInString && c == '\\') {
            const auto unit = escapedUnit(text, at);
            const bool isHigh = unit && *unit >= 0xD800 && *unit < 0xDC00;
            const auto low = isHigh ? escapedUnit(text, at + 6) : std::nullopt;
            const bool isPair = low && *low >= 0xDC00 && *low < 0xE000;
            const bool isLone = unit && *unit >= 0xD800 && *unit < 0xE000 && !isPair;
            const std::size_t length = isPair ? 12 : unit ? 6 : 2;
            result += isLone ? std::string_view("\\uFFFD") : text.substr(at, length);
            at += length;
            continue;
        }
        if (!isInString && (c == '-' || (c >= '0' && c <= '9'))) {
            const std::size_t end = std::min(text.find_first_not_of("+-.0123456789Ee", at), text.size());
            const std::string_view literal = text.substr(at, end - at);
            result += literal;
            const bool isInteger = literal.find_first_of(".eE") == literal.npos;
            if (isInteger && literal.size() >= 19)
                result += "e0";
            at = end;
            continue;
        }
        if (c == '"')
            isInString = !isInString;
        result += c;
        ++at;
    }
    return result;
}

/// How deep arrays and objects stand in each other.
std::size_t nesting(std::string_view text)
{
    std::size_t depth = 0;
    std::size_t deepest = 0;
    bool isInString = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (c == '"')
            isInString = !isInString;
        else if (isInString && c == '\\')
            ++at;
        else if (!isInString && (c == '[' || c == '{'))
            deepest = std::max(deepest, ++depth);
        else if (!isInString && (c == ']' || c == '}') && depth > 0)
            --depth;
    }
    return deepest;
}

} // namespace

std::optional<std::int64_t> truncatedInteger(double value)
{
    constexpr double limit = 9223372036854775808.0; // 2 to the 63rd
    if (!(value >= -limit && value < limit)) // also false for not-a-number
        return std::nullopt;
    return static_cast<std::int64_t>(value);
}

bool JSONView::isNull() const { return reinterpret<element>(storage).is_null(); }
bool JSONView::isObject() const { return reinterpret<element>(storage).is_object(); }
bool JSONView::isArray() const { return reinterpret<element>(storage).is_array(); }

std::optional<bool> JSONView::boolean() const
{
    const auto decoded = reinterpret<element>(storage);
    return decoded.is_bool() ? std::optional(decoded.get_bool().value_unsafe()) : std::nullopt;
}

std::optional<double> JSONView::number() const
{
    const auto decoded = reinterpret<element>(storage);
    return decoded.is_number() ? std::optional(numberOf(decoded)) : std::nullopt;
}

std::optional<std::int64_t> JSONView::integer() const
{
    const auto decoded = number();
    return decoded ? truncatedInteger(*decoded) : std::nullopt;
}

std::optional<std::string_view> JSONView::string() const
{
    const auto decoded = reinterpret<element>(storage);
    return decoded.is_string() ? std::optional(stringOf(decoded)) : std::nullopt;
}

std::optional<JSONView> JSONView::operator[](std::string_view key) const
{
    std::optional<JSONView> found;
    findMembers({&key, 1}, {&found, 1});
    return found;
}

void JSONView::findMembers(std::span<const std::string_view> keys, std::span<std::optional<JSONView>> found) const
{
    simdjson::dom::object members;
    if (reinterpret<element>(storage).get_object().get(members) != simdjson::SUCCESS)
        return;
    // Most members have no key of the lengths that are sought.
    std::uint64_t lengths = 0;
    const auto lengthBit = [](std::size_t length) { return std::uint64_t{1} << (length % 64); };
    for (const std::string_view key : keys)
        lengths |= lengthBit(key.size());
    const auto end = members.end();
    for (auto at = members.begin(); at != end; ++at) {
        const std::string_view key = at.key();
        if ((lengths & lengthBit(key.size())) == 0)
            continue;
        for (std::size_t i = 0; i < keys.size(); ++i) {
            // Most keys differ in length or already in their first byte; finding that out here costs less than a call.
            if (key.size() == keys[i].size() && (key.empty() || key[0] == keys[i][0]) && key == keys[i])
                found[i] = JSONView(reinterpret<Storage>(at.value()));
        }
    }
}

JSON JSONView::value() const
{
    const auto decoded = reinterpret<element>(storage);
    switch (decoded.type()) {
    case element_type::BOOL:
        return decoded.get_bool().value_unsafe();
    case element_type::INT64:
    case element_type::UINT64:
    case element_type::DOUBLE:
        return numberOf(decoded);
    case element_type::STRING:
        return std::string(stringOf(decoded));
    case element_type::ARRAY: {
        JSON::Array elements;
        const simdjson::dom::array source = decoded.get_array().value_unsafe();
        elements.reserve(source.size());
        for (const element& each : source)
            elements.push_back(JSONView(reinterpret<Storage>(each)).value());
        return elements;
    }
    case element_type::OBJECT: {
        JSON::Object object;
        std::vector<JSON::Member>& members = object.members;
        const simdjson::dom::object source = decoded.get_object().value_unsafe();
        members.reserve(source.size());
        for (const auto& [key, each] : source)
            members.push_back({std::string(withoutSurrogates(key)), JSONView(reinterpret<Storage>(each)).value()});
        // Sorted stably and each key's last kept: of a repeated key the last counts.
        std::stable_sort(members.begin(), members.end(), [](const auto& a, const auto& b) { return a.key < b.key; });
        const auto kept = std::unique(members.rbegin(), members.rend(),
            [](const auto& a, const auto& b) { return a.key == b.key; });
        members.erase(members.begin(), kept.base());
        return object;
    }
    case element_type::NULL_VALUE:
        break;
    }
    return nullptr;
}

JSONView JSONView::MemberPosition::value() const
{
    return JSONView(reinterpret<Storage>(reinterpret<simdjson::dom::object::iterator>(at).value()));
}

JSONView JSONView::Element::value() const
{
    return JSONView(reinterpret<Storage>(*reinterpret<simdjson::dom::array::iterator>(at)));
}

JSONView::Cursor JSONView::firstMember() const
{
    simdjson::dom::object members;
    if (reinterpret<element>(storage).get_object().get(members) != simdjson::SUCCESS || members.begin() == members.end())
        return std::nullopt;
    MemberPosition first;
    first.at = reinterpret<Storage>(members.begin());
    first.end = reinterpret<Storage>(members.end());
    first.key = withoutSurrogates(members.begin().key());
    return first;
}

JSONView::Cursor JSONView::nextMember(const MemberPosition& previous)
{
    auto at = reinterpret<simdjson::dom::object::iterator>(previous.at);
    if (!(++at != reinterpret<simdjson::dom::object::iterator>(previous.end)))
        return std::nullopt;
    MemberPosition next;
    next.at = reinterpret<Storage>(at);
    next.end = previous.end;
    next.key = withoutSurrogates(at.key());
    return next;
}

std::optional<JSONView::Element> JSONView::firstElement() const
{
    simdjson::dom::array elements;
    if (reinterpret<element>(storage).get_array().get(elements) != simdjson::SUCCESS
        || !(elements.begin() != elements.end()))
        return std::nullopt;
    Element first;
    first.at = reinterpret<Storage>(elements.begin());
    first.end = reinterpret<Storage>(elements.end());
    return first;
}

std::optional<JSONView::Element> JSONView::nextElement(const Element& previous)
{
    auto at = reinterpret<simdjson::dom::array::iterator>(previous.at);
    if (!(++at != reinterpret<simdjson::dom::array::iterator>(previous.end)))
        return std::nullopt;
    Element next;
    next.at = reinterpret<Storage>(at);
    next.end = previous.end;
    return next;
}

struct JSONDocument::Decoder {
    simdjson::dom::parser parser;
};

JSONDocument::JSONDocument()
    : decoder(std::make_unique<Decoder>())
{
}

JSONDocument::~JSONDocument() = default;

std::optional<JSONView> JSONDocument::decode(std::string_view text, bool isPadded)
{
    static_assert(padding >= simdjson::SIMDJSON_PADDING);
    simdjson::dom::parser& parser = decoder->parser;
    const bool isSwollen = parser.capacity() > keptCapacity && text.size() <= keptCapacity;
    if (isSwollen || parser.max_depth() != safeDepth)
        parser = simdjson::dom::parser();
    const std::size_t capacity = std::max<std::size_t>(text.size(), 4096);
    if (parser.capacity() < text.size() || parser.capacity() == 0) {
        if (parser.allocate(capacity, safeDepth) != simdjson::SUCCESS)
            return std::nullopt;
    }
    element root;
    auto error = parser.parse(text.data(), text.size(), !isPadded).get(root);
    if (error == simdjson::DEPTH_ERROR && nesting(text) <= deepestNesting
        && parser.allocate(capacity, fullDepth) == simdjson::SUCCESS)
        error = parser.parse(text.data(), text.size(), !isPadded).get(root);
    if (error != simdjson::SUCCESS)
        return std::nullopt;
    return JSONView(reinterpret<JSONView::Storage>(root));
}

std::optional<JSONView> JSONDocument::parse(std::string_view text)
{
    if (auto view = decode(text, false))
        return view;
    // Only an escape or a number can be what stopped it; without either there is nothing to mend.
    const std::string second = mended(text);
    return second == text ? std::nullopt : decode(second, false);
}

std::optional<JSONView> JSONDocument::parsePadded(std::string_view text)
{
    if (auto view = decode(text, true))
        return view;
    const std::string second = mended(text);
    return second == text ? std::nullopt : decode(second, false);
}

void JSONDocument::shrink()
{
    if (decoder->parser.capacity() > keptCapacity)
        decoder->parser = simdjson::dom::parser();
}

JSONDocument& JSONDocument::shared()
{
    static thread_local JSONDocument document;
    return document;
}

} // namespace tarnel
