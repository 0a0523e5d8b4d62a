#include "TarnelCore/JSON/JSONWriter.h"
#include "TarnelCore/Base/ByteBlock.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <simdjson.h>
#include <utility>

namespace tarnel {

namespace {

constexpr int doubleBits = std::numeric_limits<double>::digits;

/// The number without the bits that a double has no room for.
std::int64_t shortened(std::int64_t value)
{
    const std::uint64_t magnitude = value < 0 ? -static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
    const int spare = static_cast<int>(std::bit_width(magnitude)) - doubleBits;
    if (spare <= 0)
        return value;
    const std::uint64_t kept = magnitude >> spare << spare;
    return static_cast<std::int64_t>(value < 0 ? -kept : kept);
}

/// The first room; larger texts double it.
constexpr std::size_t firstRoom = 256;

/// A text of at least `largeText` gets at once the room that the thread's last large one took: the same thread mostly
/// writes the same kind of large text, over and over.
constexpr std::size_t largeText = std::size_t{1} << 14;
constexpr std::size_t largestGuess = std::size_t{1} << 20;
thread_local std::size_t lastLargeSize = 0;

/// The bytes of a text shorter than a word, and plain ones behind them.
std::uint64_t shortWord(std::string_view text)
{
    if constexpr (std::endian::native != std::endian::little)
        return 0; // special throughout
    std::uint64_t word = 0;
    const std::size_t size = text.size();
    if (size >= 4) {
        std::uint32_t low = 0;
        std::uint32_t high = 0;
        std::memcpy(&low, text.data(), 4);
        std::memcpy(&high, text.data() + size - 4, 4);
        word = low | std::uint64_t{high} << (8 * (size - 4));
    } else if (size > 0) {
        const auto byte = [&](std::size_t at) {
            return std::uint64_t{static_cast<unsigned char>(text[at])} << (8 * at);
        };
        word = byte(0) | byte(size / 2) | byte(size - 1);
    }
    constexpr std::uint64_t plain = 0x6161616161616161;
    return word | plain << (8 * size);
}

/// The bytes that cannot stand in a string as they are; where it is not known that the text is UTF-8, those that are
/// not ASCII too.
template <JSONWriter::Slashes form> BlockMarks specials(ByteBlock block, bool isUnicode)
{
    constexpr char lastControl = 0x1F;
    BlockMarks found = (isUnicode ? atMost(block, lastControl) : atMostOrBeyondASCII(block, lastControl))
        | equal(block, '"') | equal(block, '\\');
    if constexpr (form == JSONWriter::Slashes::escaped)
        found = found | equal(block, '/');
    return found;
}

/// As `copyPlain`, for a text shorter than a block.
template <JSONWriter::Slashes form> std::size_t copyShort(std::string_view text, char* at, bool isUnicode)
{
    using Words = std::array<std::uint64_t, 2>;
    constexpr std::size_t wordSize = sizeof(std::uint64_t);
    const std::size_t size = text.size();
    Words words{};
    if (size < wordSize) {
        words.fill(shortWord(text));
        std::memcpy(at, &words[0], wordSize);
        return std::min(specials<form>(std::bit_cast<ByteBlock>(words), isUnicode).first(), size);
    }
    std::memcpy(&words[0], text.data(), wordSize);
    std::memcpy(&words[1], text.data() + size - wordSize, wordSize); // which may overlap the first
    std::memcpy(at, &words[0], wordSize);
    std::memcpy(at + size - wordSize, &words[1], wordSize);
    const std::size_t first = specials<form>(std::bit_cast<ByteBlock>(words), isUnicode).first();
    return first < wordSize ? first : size - 2 * wordSize + first;
}

/// Copies to `at` what `text` begins with and what can stand in a string as it is, and returns how many bytes that
/// were; up to a block more is written behind them.
template <JSONWriter::Slashes form> std::size_t copyPlain(std::string_view text, char* at, bool isUnicode)
{
    std::size_t length = 0;
    for (; text.size() - length >= sizeof(ByteBlock); length += sizeof(ByteBlock)) {
        const ByteBlock block = loadBlock(text.data() + length);
        storeBlock(at + length, block);
        const BlockMarks found = specials<form>(block, isUnicode);
        if (found.any())
            return length + found.first();
    }
    return length + copyShort<form>(text.substr(length), at + length, isUnicode);
}

/// What stands behind the backslash in the escape of each byte; 0 where the byte needs none.
constexpr auto escapes = [] {
    std::array<char, 256> letters{};
    std::fill_n(letters.begin(), 0x20, 'u');
    constexpr std::string_view pairs = "\bb\ff\nn\rr\tt\"\"\\\\//";
    for (std::size_t i = 0; i < pairs.size(); i += 2)
        letters[static_cast<unsigned char>(pairs[i])] = pairs[i + 1];
    return letters;
}();

template <JSONWriter::Slashes form> bool needsEscape(char c)
{
    return escapes[static_cast<unsigned char>(c)] != 0 && (form == JSONWriter::Slashes::escaped || c != '/');
}

constexpr std::size_t longestEscape = 6;

/// Writes the escape of `c`; returns its end.
char* putEscape(char* at, char c)
{
    constexpr std::string_view digits = "0123456789abcdef";
    *at++ = '\\';
    *at++ = escapes[static_cast<unsigned char>(c)];
    if (at[-1] != 'u')
        return at;
    at = std::copy_n("00", 2, at);
    *at++ = digits[static_cast<unsigned char>(c) >> 4];
    *at++ = digits[c & 0xF];
    return at;
}

} // namespace

void JSONWriter::grow(std::size_t count)
{
    const std::size_t needed = used + count;
    const std::size_t guess = needed < largeText ? firstRoom : lastLargeSize + lastLargeSize / 8;
    buffer.resize(std::max({needed, 2 * buffer.size(), guess}));
}

void JSONWriter::write(std::int64_t value)
{
    constexpr std::size_t longest = 20;
    char* const at = room(longest);
    used += static_cast<std::size_t>(std::to_chars(at, at + longest, shortened(value)).ptr - at);
}

void JSONWriter::write(double value)
{
    if (!std::isfinite(value)) {
        isUnencodable = true;
        return;
    }
    value += 0.0; // of equal values one form: this makes minus zero a plain zero
    constexpr double exact = std::uint64_t{1} << doubleBits; // up to here an integer's digits do, which are faster
    if (std::abs(value) <= exact) {
        const auto integer = static_cast<std::int64_t>(value);
        if (static_cast<double>(integer) == value)
            return write(integer);
    }
    const bool isIntegral = value == std::trunc(value);
    std::array<char, 352> digits; // the largest double has 309 digits
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
    char* at = room(text.size() + 2 + sizeof(ByteBlock));
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
        at = room(longestEscape + text.size() + 1 + sizeof(ByteBlock));
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
    if (buffer.capacity() > 2 * std::max(buffer.size(), firstRoom)) // a guess that was far off
        buffer.shrink_to_fit();
    if (std::exchange(isUnencodable, false))
        buffer = "null";
    return std::exchange(buffer, {});
}

} // namespace tarnel
