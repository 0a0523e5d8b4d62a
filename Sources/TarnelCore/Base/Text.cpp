#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <utf8proc.h>

namespace tarnel::Text {

namespace {

constexpr char32_t replacement = 0xFFFD;

bool isASCII(char c) { return static_cast<unsigned char>(c) < 0x80; }

bool isASCII(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return isASCII(c); });
}

char lowercaseASCII(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

/// The bytes that `text` starts with and that form one scalar, or nothing when they are not UTF-8.
std::optional<Scalar> decode(std::string_view text)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const auto continues = [&](std::size_t i) { return i < text.size() && (byte(i) & 0xC0) == 0x80; };
    const unsigned char lead = byte(0);
    if (lead < 0x80)
        return Scalar{lead, 1};
    if (lead >= 0xC2 && lead < 0xE0 && continues(1))
        return Scalar{static_cast<char32_t>((lead & 0x1F) << 6 | (byte(1) & 0x3F)), 2};
    if (lead >= 0xE0 && lead < 0xF0 && continues(1) && continues(2)) {
        const auto value = static_cast<char32_t>((lead & 0x0F) << 12 | (byte(1) & 0x3F) << 6 | (byte(2) & 0x3F));
        const bool isSurrogate = value >= 0xD800 && value < 0xE000;
        if (value >= 0x800 && !isSurrogate)
            return Scalar{value, 3};
    }
    if (lead >= 0xF0 && lead < 0xF5 && continues(1) && continues(2) && continues(3)) {
        const auto value = static_cast<char32_t>(
            (lead & 0x07) << 18 | (byte(1) & 0x3F) << 12 | (byte(2) & 0x3F) << 6 | (byte(3) & 0x3F));
        if (value >= 0x10000 && value < 0x110000)
            return Scalar{value, 4};
    }
    return std::nullopt;
}

utf8proc_category_t category(char32_t scalar) { return utf8proc_category(static_cast<utf8proc_int32_t>(scalar)); }

/// How many of the first `limit` bytes are a character each, without looking at any of them alone: ASCII, no carriage
/// return, and nothing behind that could belong to the last one.
std::size_t plainRun(std::string_view text, std::size_t limit)
{
    constexpr std::size_t stride = 16; // compiles to one comparison
    const auto isPlain = [](char c) { return isASCII(c) && c != '\r'; };
    const std::size_t end = std::min(limit, text.size());
    std::size_t length = 0;
    for (bool isRun = true; isRun && length + stride <= end; length += isRun ? stride : 0) {
        for (std::size_t i = 0; i < stride; ++i)
            isRun &= isPlain(text[length + i]);
    }
    while (length < end && isPlain(text[length]))
        ++length;
    if (length > 0 && length < text.size() && !isASCII(text[length]))
        --length;
    return length;
}

std::vector<std::string_view> splitKeeping(std::string_view text, char separator, bool keepsEmpty)
{
    std::vector<std::string_view> pieces;
    for (;;) {
        const std::size_t end = text.find(separator);
        const std::string_view piece = text.substr(0, end);
        if (keepsEmpty || !piece.empty())
            pieces.push_back(piece);
        if (end == text.npos)
            return pieces;
        text.remove_prefix(end + 1);
    }
}

} // namespace

Scalar firstScalar(std::string_view text) { return decode(text).value_or(Scalar{replacement, 1}); }

Scalar lastScalar(std::string_view text)
{
    std::size_t start = text.size() - 1;
    while (start > 0 && text.size() - start < 4 && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80)
        --start;
    const Scalar scalar = firstScalar(text.substr(start));
    return start + scalar.length == text.size() ? scalar : Scalar{replacement, 1};
}

void append(std::string& text, char32_t value)
{
    const auto put = [&](char32_t byte) { text += static_cast<char>(byte); };
    if (value < 0x80) {
        put(value);
    } else if (value < 0x800) {
        put(0xC0 | value >> 6);
        put(0x80 | (value & 0x3F));
    } else if (value < 0x10000) {
        put(0xE0 | value >> 12);
        put(0x80 | (value >> 6 & 0x3F));
        put(0x80 | (value & 0x3F));
    } else {
        put(0xF0 | value >> 18);
        put(0x80 | (value >> 12 & 0x3F));
        put(0x80 | (value >> 6 & 0x3F));
        put(0x80 | (value & 0x3F));
    }
}

std::size_t firstCharacterLength(std::string_view text)
{
    if (text.empty())
        return 0;
    if (isASCII(text[0]) && (text.size() == 1 || isASCII(text[1])))
        return text[0] == '\r' && text.size() > 1 && text[1] == '\n' ? 2 : 1;
    Scalar scalar = firstScalar(text);
    std::size_t length = scalar.length;
    utf8proc_int32_t state = 0;
    while (length < text.size()) {
        const Scalar next = firstScalar(text.substr(length));
        if (utf8proc_grapheme_break_stateful(
                static_cast<utf8proc_int32_t>(scalar.value), static_cast<utf8proc_int32_t>(next.value), &state))
            break;
        length += next.length;
        scalar = next;
    }
    return length;
}

std::size_t characterCount(std::string_view text)
{
    std::size_t count = 0;
    while (!text.empty()) {
        const std::size_t plain = plainRun(text, text.size());
        text.remove_prefix(plain);
        count += plain;
        if (!text.empty()) {
            text.remove_prefix(firstCharacterLength(text));
            ++count;
        }
    }
    return count;
}

std::string_view prefix(std::string_view text, std::size_t count)
{
    std::size_t end = 0;
    while (count > 0 && end < text.size()) {
        const std::size_t plain = plainRun(text.substr(end), count);
        end += plain;
        count -= plain;
        if (count > 0 && end < text.size()) {
            end += firstCharacterLength(text.substr(end));
            --count;
        }
    }
    return text.substr(0, end);
}

std::string_view suffix(std::string_view text, std::size_t count)
{
    if (text.size() <= count)
        return text;
    // Where a character starts depends on what stands before it, so they are counted from the front.
    for (std::size_t total = characterCount(text); total > count; --total)
        text.remove_prefix(firstCharacterLength(text));
    return text;
}

bool isLetter(char32_t scalar)
{
    if (scalar < 0x80)
        return (scalar >= 'a' && scalar <= 'z') || (scalar >= 'A' && scalar <= 'Z');
    const utf8proc_category_t c = category(scalar);
    return c >= UTF8PROC_CATEGORY_LU && c <= UTF8PROC_CATEGORY_LO;
}

bool isDigit(char32_t scalar)
{
    if (scalar < 0x80)
        return scalar >= '0' && scalar <= '9';
    const utf8proc_category_t c = category(scalar);
    return c >= UTF8PROC_CATEGORY_ND && c <= UTF8PROC_CATEGORY_NO;
}

bool isWhitespace(char32_t scalar)
{
    return scalar == ' ' || (scalar >= 0x9 && scalar <= 0xD) || scalar == 0x85 || scalar == 0xA0 || scalar == 0x1680
        || (scalar >= 0x2000 && scalar <= 0x200A) || scalar == 0x2028 || scalar == 0x2029 || scalar == 0x202F
        || scalar == 0x205F || scalar == 0x3000;
}

bool isBlank(std::string_view text) { return trimmed(text).empty(); }

std::string_view trimmed(std::string_view text)
{
    while (!text.empty()) {
        const Scalar scalar = firstScalar(text);
        if (!isWhitespace(scalar.value))
            break;
        text.remove_prefix(scalar.length);
    }
    while (!text.empty()) {
        const Scalar scalar = lastScalar(text);
        if (!isWhitespace(scalar.value))
            break;
        text.remove_suffix(scalar.length);
    }
    return text;
}

std::string_view trimmedBlanks(std::string_view text) { return trimmedOf(text, " \t"); }

std::string_view trimmedOf(std::string_view text, std::string_view set)
{
    const std::size_t start = text.find_first_not_of(set);
    if (start == text.npos)
        return {};
    return text.substr(start, text.find_last_not_of(set) - start + 1);
}

std::string lowercased(std::string_view text)
{
    std::string lower;
    lower.reserve(text.size());
    while (!text.empty()) {
        const auto ascii = std::find_if_not(text.begin(), text.end(), [](char c) { return isASCII(c); }) - text.begin();
        const std::size_t start = lower.size();
        lower += text.substr(0, static_cast<std::size_t>(ascii));
        std::transform(lower.begin() + static_cast<std::ptrdiff_t>(start), lower.end(),
            lower.begin() + static_cast<std::ptrdiff_t>(start), lowercaseASCII);
        text.remove_prefix(static_cast<std::size_t>(ascii));
        if (text.empty())
            break;
        const Scalar scalar = firstScalar(text);
        append(lower, lowercased(scalar.value));
        text.remove_prefix(scalar.length);
    }
    return lower;
}

char32_t lowercased(char32_t scalar)
{
    const bool isSymbol = scalar >= 0x2500 && scalar < 0x2C00; // of which screens are full; no letters
    return isSymbol ? scalar : static_cast<char32_t>(utf8proc_tolower(static_cast<utf8proc_int32_t>(scalar)));
}

bool hasLowercase(std::string_view text)
{
    while (!text.empty()) {
        const Scalar scalar = firstScalar(text);
        const auto value = static_cast<utf8proc_int32_t>(scalar.value);
        if (utf8proc_toupper(value) != value)
            return true;
        text.remove_prefix(scalar.length);
    }
    return false;
}

std::string alphanumericKey(std::string_view text)
{
    std::string key;
    key.reserve(text.size());
    while (!text.empty()) {
        const Scalar scalar = firstScalar(text);
        text.remove_prefix(scalar.length);
        if (!isLetter(scalar.value) && !isDigit(scalar.value))
            continue;
        if (scalar.value < 0x80)
            key += lowercaseASCII(static_cast<char>(scalar.value));
        else
            append(key, lowercased(scalar.value));
    }
    return key;
}

std::vector<std::string_view> split(std::string_view text, char separator)
{
    return splitKeeping(text, separator, true);
}

std::vector<std::string_view> splitNonEmpty(std::string_view text, char separator)
{
    return splitKeeping(text, separator, false);
}

std::vector<std::string_view> words(std::string_view text)
{
    std::vector<std::string_view> pieces;
    std::size_t start = 0;
    std::size_t at = 0;
    while (at < text.size()) {
        const Scalar scalar = firstScalar(text.substr(at));
        if (isWhitespace(scalar.value)) {
            if (at > start)
                pieces.push_back(text.substr(start, at - start));
            start = at + scalar.length;
        }
        at += scalar.length;
    }
    if (at > start)
        pieces.push_back(text.substr(start));
    return pieces;
}

std::string replacingAll(std::string_view text, std::string_view from, std::string_view to)
{
    std::string result;
    result.reserve(text.size());
    for (;;) {
        const std::size_t at = text.find(from);
        result += text.substr(0, at);
        if (at == text.npos)
            return result;
        result += to;
        text.remove_prefix(at + from.size());
    }
}

std::optional<std::size_t> findIgnoringCase(std::string_view text, std::string_view part)
{
    const std::string wanted = lowercased(part);
    if (isASCII(text)) {
        const auto at = std::search(text.begin(), text.end(), wanted.begin(), wanted.end(),
            [](char a, char b) { return lowercaseASCII(a) == b; });
        if (at == text.end() && !wanted.empty())
            return std::nullopt;
        return static_cast<std::size_t>(at - text.begin());
    }
    // Lower-casing may change how many bytes a scalar takes, so each place is compared scalar by scalar.
    std::string lower;
    std::vector<std::size_t> origin; // of each byte of `lower`: where its scalar starts in `text`
    for (std::size_t at = 0; at < text.size();) {
        const Scalar scalar = firstScalar(text.substr(at));
        append(lower, lowercased(scalar.value));
        origin.resize(lower.size(), at);
        at += scalar.length;
    }
    const std::size_t found = lower.find(wanted);
    if (found == lower.npos)
        return std::nullopt;
    return found < origin.size() ? origin[found] : text.size();
}

bool isValidUTF8(std::string_view text)
{
    while (!text.empty()) {
        const std::optional<Scalar> scalar = decode(text);
        if (!scalar)
            return false;
        text.remove_prefix(scalar->length);
    }
    return true;
}

std::string repaired(std::string_view text)
{
    std::string valid;
    valid.reserve(text.size());
    while (!text.empty()) {
        const std::optional<Scalar> scalar = decode(text);
        if (scalar)
            valid += text.substr(0, scalar->length);
        else
            append(valid, replacement);
        text.remove_prefix(scalar ? scalar->length : 1);
    }
    return valid;
}

} // namespace tarnel::Text
