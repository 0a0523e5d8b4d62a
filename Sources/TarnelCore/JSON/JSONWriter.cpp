#include "TarnelCore/JSON/JSONWriter.h"
#include "TarnelCore/Base/Text.h"
#include <array>
#include <charconv>
#include <cmath>
#include <utility>

namespace tarnel {

namespace {

/// What a byte of a string needs: nothing, an escape, or a look at the sequence that it begins.
enum class Need : unsigned char { nothing, escape, look };

constexpr std::array<Need, 256> needs(JSONWriter::Slashes slashes)
{
    std::array<Need, 256> table{};
    for (std::size_t byte = 0; byte < 0x20; ++byte)
        table[byte] = Need::escape;
    table['"'] = Need::escape;
    table['\\'] = Need::escape;
    table['/'] = slashes == JSONWriter::Slashes::escaped ? Need::escape : Need::nothing;
    for (std::size_t byte = 0x80; byte < 0x100; ++byte)
        table[byte] = Need::look;
    return table;
}

constexpr auto needsWithPlainSlashes = needs(JSONWriter::Slashes::plain);
constexpr auto needsWithEscapedSlashes = needs(JSONWriter::Slashes::escaped);

void appendEscape(std::string& buffer, char c)
{
    switch (c) {
    case '"':
    case '\\':
    case '/':
        (buffer += '\\') += c;
        return;
    case '\b':
        buffer += "\\b";
        return;
    case '\f':
        buffer += "\\f";
        return;
    case '\n':
        buffer += "\\n";
        return;
    case '\r':
        buffer += "\\r";
        return;
    case '\t':
        buffer += "\\t";
        return;
    default:
        constexpr std::string_view digits = "0123456789abcdef";
        buffer += "\\u00";
        buffer += digits[static_cast<unsigned char>(c) >> 4];
        buffer += digits[c & 0xF];
    }
}

} // namespace

void JSONWriter::write(std::int64_t value)
{
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    buffer.append(digits.data(), end);
}

void JSONWriter::write(double value)
{
    if (!std::isfinite(value)) {
        isUnencodable = true;
        return;
    }
    value += 0.0; // of equal values one form: this makes minus zero a plain zero
    std::array<char, 352> digits; // the largest double has 309 digits
    const bool isIntegral = value == std::trunc(value);
    const auto end = isIntegral
        ? std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed).ptr
        : std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    buffer.append(digits.data(), end);
}

void JSONWriter::write(std::string_view text)
{
    const auto& table = slashes == Slashes::plain ? needsWithPlainSlashes : needsWithEscapedSlashes;
    buffer += '"';
    std::size_t done = 0;
    for (std::size_t at = 0; at < text.size();) {
        const Need need = table[static_cast<unsigned char>(text[at])];
        if (need == Need::nothing) {
            ++at;
            continue;
        }
        if (need == Need::look) {
            const Text::Scalar scalar = Text::firstScalar(text.substr(at));
            if (scalar.length > 1) {
                at += scalar.length;
                continue;
            }
        }
        buffer += text.substr(done, at - done);
        if (need == Need::escape)
            appendEscape(buffer, text[at]);
        else
            buffer += "\xEF\xBF\xBD";
        done = ++at;
    }
    buffer += text.substr(done);
    buffer += '"';
}

void JSONWriter::write(const JSON& value)
{
    if (const auto* elements = value.array()) {
        beginArray();
        for (const JSON& each : *elements) {
            element();
            write(each);
        }
        return endArray();
    }
    if (const auto* members = value.object()) {
        beginObject();
        for (const JSON::Member& member : *members) {
            key(member.key);
            write(member.value);
        }
        return endObject();
    }
    if (const std::string* text = value.string())
        return write(std::string_view(*text));
    if (const auto number = value.number())
        return write(*number);
    if (const auto boolean = value.boolean())
        return write(*boolean);
    write(nullptr);
}

void JSONWriter::key(std::string_view name)
{
    separate();
    write(name);
    buffer += ':';
}

std::string JSONWriter::take()
{
    needsComma = false;
    if (std::exchange(isUnencodable, false))
        buffer = "null";
    return std::exchange(buffer, {});
}

} // namespace tarnel
