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

/// A text of at least `largeText` gets at once the room that the thread's last large one took: the same thread mostly
/// writes the same kind of large text, over and over.
constexpr std::size_t largeText = std::size_t{1} << 14;
constexpr std::size_t largestGuess = std::size_t{1} << 20;
thread_local std::size_t lastLargeSize = 0;

/// As many bytes as are looked at together.
using Word = std::uint64_t;
constexpr Word ones = 0x0101010101010101;
constexpr Word highBits = 0x8080808080808080;

/// A word whose lowest set bit lies in the first byte of `word` that is zero; zero when none is.
constexpr Word firstZero(Word word) { return (word - ones) & ~word & highBits; }

/// The same for the first byte that a string cannot hold as it stands, or that begins no ASCII character. Bits above
/// the lowest mean nothing.
template <JSONWriter::Slashes form> constexpr Word firstSpecial(Word word)
{
    Word found =
        word | ((word - 0x20 * ones) & ~word) | firstZero(word ^ ('"' * ones)) | firstZero(word ^ ('\\' * ones));
    if constexpr (form == JSONWriter::Slashes::escaped)
        found |= firstZero(word ^ ('/' * ones));
    return found & highBits;
}

/// The bytes of a text shorter than a word, and plain ones behind them.
Word shortWord(std::string_view text)
{
    if constexpr (std::endian::native != std::endian::little)
        return 0; // special throughout
    Word word = 0;
    const std::size_t size = text.size();
    if (size >= 4) {
        std::uint32_t low = 0;
        std::uint32_t high = 0;
        std::memcpy(&low, text.data(), 4);
        std::memcpy(&high, text.data() + size - 4, 4);
        word = low | Word{high} << (8 * (size - 4));
    } else {
        const auto byte = [&](std::size_t at) { return Word{static_cast<unsigned char>(text[at])} << (8 * at); };
        word = byte(0) | byte(size / 2) | byte(size - 1);
    }
    return word | ('a' * ones) << (8 * size);
}

/// How many bytes of `word` can stand in a string as they are, before one that can't. With `isUnicode`, bytes from 0x80
/// on can.
template <JSONWriter::Slashes form> std::size_t plainBytes(Word word, bool isUnicode)
{
    if (isUnicode)
        word = (word & ~highBits) | (word & highBits) >> 1 | (word & highBits) >> 2; // now plain, 0x60 and above
    const Word found = firstSpecial<form>(word);
    if (std::endian::native != std::endian::little && found != 0)
        return 0;
    return static_cast<std::size_t>(std::countr_zero(found)) / 8;
}

/// Copies to `at` what `text` begins with and what can stand in a string as it is, and returns how many bytes that were;
/// up to a word more is written behind them.
template <JSONWriter::Slashes form> std::size_t copyPlain(std::string_view text, char* at, bool isUnicode)
{
    std::size_t length = 0;
    while (length < text.size()) {
        const std::size_t left = text.size() - length;
        Word word = 0;
        if (left >= sizeof word)
            std::memcpy(&word, text.data() + length, sizeof word);
        else
            word = shortWord(text.substr(length));
        std::memcpy(at + length, &word, sizeof word);
        const std::size_t count = plainBytes<form>(word, isUnicode);
        if (count < std::min(left, sizeof word))
            return length + count;
        length += sizeof word;
    }
    return text.size();
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

void JSONWriter::grow(std::size_t count) { buffer.resize(std::max({used + count, 2 * buffer.size(), firstRoom})); }

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
    value += 0.0; // of equal values one form: this makes minus zero a plain zero
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
    char* at = room(text.size() + 2 + sizeof(Word));
    *at++ = '"';
    std::optional<bool> isUnicode; // whether the rest of the text is UTF-8; looked at once, when it matters
    for (;;) {
        const std::size_t plain = copyPlain<form>(text, at, isUnicode == true);
        at += plain;
        text.remove_prefix(plain);
        if (text.empty())
            break;
        const char c = text.front();
        const bool isASCII = static_cast<unsigned char>(c) < 0x80;
        if (!isASCII && !isUnicode) {
            isUnicode = simdjson::validate_utf8(text.data(), text.size());
            if (*isUnicode)
                continue;
        }
        if (isASCII ? !needsEscape<form>(c) : *isUnicode) { // where the order of bytes hides which one was special
            *at++ = c;
            text.remove_prefix(1);
            continue;
        }
        const std::size_t length = isASCII ? 1 : Text::firstScalar(text).length;
        // Escapes are longer than what they stand for: there must be room for one, and for the rest and its quote.
        used = static_cast<std::size_t>(at - buffer.data());
        at = room(longestEscape + text.size() + 1 + sizeof(Word));
        if (isASCII)
            at = putEscape(at, c);
        else
            at = length > 1 ? std::copy_n(text.data(), length, at) : std::copy_n("\xEF\xBF\xBD", 3, at);
        text.remove_prefix(length);
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
    if (used >= largeText)
        lastLargeSize = std::min(used, largestGuess);
    buffer.resize(std::exchange(used, 0));
    if (std::exchange(isUnencodable, false))
        buffer = "null";
    return std::exchange(buffer, {});
}

} // namespace tarnel
