#include "TarnelCore/JSON/JSONWriter.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <simdjson.h>
#include <utility>

namespace tarnel {

namespace {

/// The first room; larger texts double it.
constexpr std::size_t firstRoom = 256;

/// As many bytes as are looked at together.
using Word = std::uint64_t;
constexpr Word ones = 0x0101010101010101;
constexpr Word highBits = 0x8080808080808080;

/// A word whose lowest set bit lies in the first byte of `word` that is zero; zero when none is.
constexpr Word firstZero(Word word) { return (word - ones) & ~word & highBits; }

/// The same for the first byte that a string cannot hold as it stands, or that begins no ASCII character. Bits above the
/// lowest mean nothing.
template <JSONWriter::Slashes form> constexpr Word firstSpecial(Word word)
{
    Word found = word | ((word - 0x20 * ones) & ~word) | firstZero(word ^ ('"' * ones)) | firstZero(word ^ ('\\' * ones));
    if constexpr (form == JSONWriter::Slashes::escaped)
        found |= firstZero(word ^ ('/' * ones));
    return found & highBits;
}

/// How many bytes of `text` stand in a string as they are, so far as they were looked at: whole words, or less where one
/// holds a byte that does not. With `isUnicode`, the bytes from 0x80 on do too.
template <JSONWriter::Slashes form> std::size_t plainLength(std::string_view text, bool isUnicode)
{
    std::size_t length = 0;
    for (; length + sizeof(Word) <= text.size(); length += sizeof(Word)) {
        Word word = 0;
        std::memcpy(&word, text.data() + length, sizeof word);
        if (isUnicode)
            word = (word & ~highBits) | (word & highBits) >> 1 | (word & highBits) >> 2; // now plain, 0x60 and above
        if (const Word found = firstSpecial<form>(word)) {
            if constexpr (std::endian::native == std::endian::little)
                length += static_cast<std::size_t>(std::countr_zero(found)) / 8;
            break;
        }
    }
    return length;
}

template <JSONWriter::Slashes form> bool needsEscape(char c)
{
    return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\'
        || (form == JSONWriter::Slashes::escaped && c == '/');
}

constexpr std::size_t longestEscape = 6;

/// Writes the escape of `c`; returns its end.
char* putEscape(char* at, char c)
{
    constexpr std::string_view digits = "0123456789abcdef";
    constexpr std::string_view pairs = "\bb\ff\nn\rr\tt\"\"\\\\//";
    *at++ = '\\';
    for (std::size_t i = 0; i < pairs.size(); i += 2) {
        if (pairs[i] == c) {
            *at++ = pairs[i + 1];
            return at;
        }
    }
    at = std::copy_n("u00", 3, at);
    *at++ = digits[static_cast<unsigned char>(c) >> 4];
    *at++ = digits[c & 0xF];
    return at;
}

} // namespace

void JSONWriter::grow(std::size_t count)
{
    buffer.resize(std::max({used + count, 2 * buffer.size(), firstRoom}));
}

void JSONWriter::write(std::int64_t value)
{
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    append({digits.data(), end});
}

void JSONWriter::write(double value)
{
    if (!std::isfinite(value)) {
        isUnencodable = true;
        return;
    }
    std::array<char, 352> digits; // the largest double has 309 digits
    const bool isIntegral = value == std::trunc(value);
    const auto end = isIntegral
        ? std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed).ptr
        : std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    append({digits.data(), end});
}

void JSONWriter::write(std::string_view text)
{
    if (slashes == Slashes::plain)
        writeText<Slashes::plain>(text);
    else
        writeText<Slashes::escaped>(text);
}

template <JSONWriter::Slashes form> void JSONWriter::writeText(std::string_view text)
{
    char* at = room(text.size() + 2);
    *at++ = '"';
    std::optional<bool> isUnicode; // whether the rest of the text is UTF-8; looked at once, when it matters
    while (!text.empty()) {
        const std::size_t plain = plainLength<form>(text, isUnicode == true);
        at = std::copy_n(text.data(), plain, at);
        text.remove_prefix(plain);
        // What follows is special, or too short for a word; its bytes are taken one by one up to the next that is plain.
        for (std::size_t count = std::min(text.size(), sizeof(Word)); count > 0; --count) {
            const char c = text.front();
            const bool isASCII = static_cast<unsigned char>(c) < 0x80;
            if (!isASCII && !isUnicode)
                isUnicode = simdjson::validate_utf8(text.data(), text.size());
            if (isASCII ? !needsEscape<form>(c) : *isUnicode) {
                *at++ = c;
                text.remove_prefix(1);
                continue;
            }
            const std::size_t length = isASCII ? 1 : Text::firstScalar(text).length;
            // Escapes are longer than what they stand for: there must be room for one, and for the rest and its quote.
            used = static_cast<std::size_t>(at - buffer.data());
            at = room(longestEscape + text.size() + 1);
            if (isASCII)
                at = putEscape(at, c);
            else
                at = length > 1 ? std::copy_n(text.data(), length, at) : std::copy_n("\xEF\xBF\xBD", 3, at);
            text.remove_prefix(length);
            break;
        }
    }
    *at++ = '"';
    used = static_cast<std::size_t>(at - buffer.data());
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
    append(":");
}

std::string JSONWriter::take()
{
    needsComma = false;
    buffer.resize(std::exchange(used, 0));
    if (std::exchange(isUnencodable, false))
        buffer = "null";
    return std::exchange(buffer, {});
}

} // namespace tarnel
