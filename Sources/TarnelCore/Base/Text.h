// TarnelCore/Base/Text.h: UTF-8 text: characters, classes, trimming, cutting.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Pure functions over UTF-8. A "character" is a grapheme cluster as a person counts it (Unicode annex 29); letters,
/// digits and white space are Unicode's. Bytes that are not UTF-8 count as one scalar each, U+FFFD. Thread-safe.
namespace tarnel::Text {

/// One Unicode scalar value and the bytes it took in the text.
struct Scalar {
    char32_t value = 0;
    std::size_t length = 0;
};

/// The scalar at the start of `text`, which must not be empty.
Scalar firstScalar(std::string_view text);

/// The scalar at the end of `text`, which must not be empty.
Scalar lastScalar(std::string_view text);

/// Appends `value` in UTF-8.
void append(std::string& text, char32_t value);

/// The bytes of the first character of `text`; 0 for an empty text.
std::size_t firstCharacterLength(std::string_view text);

/// How many characters `text` has.
std::size_t characterCount(std::string_view text);

/// The first `count` characters; all of `text` when it has no more.
std::string_view prefix(std::string_view text, std::size_t count);

/// The last `count` characters; all of `text` when it has no more.
std::string_view suffix(std::string_view text, std::size_t count);

bool isLetter(char32_t scalar);
/// Decimal digits and all other numeric characters.
bool isDigit(char32_t scalar);
bool isWhitespace(char32_t scalar);

/// Whether `text` holds nothing but white space.
bool isBlank(std::string_view text);

/// Without the white space and line breaks at both ends.
std::string_view trimmed(std::string_view text);

/// Without the spaces and tabs at both ends.
std::string_view trimmedBlanks(std::string_view text);

/// Without any of the bytes `set` (ASCII) at both ends.
std::string_view trimmedOf(std::string_view text, std::string_view set);

/// Lower case, scalar by scalar.
std::string lowercased(std::string_view text);
char32_t lowercased(char32_t scalar);

/// Whether upper-casing would change `text`.
bool hasLowercase(std::string_view text);

/// Only the letters and digits of `text`, in lower case: the form in which two wordings are compared.
std::string alphanumericKey(std::string_view text);

/// The pieces between occurrences of `separator`, empty ones included: always at least one.
std::vector<std::string_view> split(std::string_view text, char separator);

/// The pieces between occurrences of `separator` that are not empty.
std::vector<std::string_view> splitNonEmpty(std::string_view text, char separator);

/// The pieces between runs of white space, none of them empty.
std::vector<std::string_view> words(std::string_view text);

template <class Pieces>
std::string joined(const Pieces& pieces, std::string_view separator)
{
    std::string text;
    bool isFirst = true;
    for (const auto& piece : pieces) {
        if (!isFirst)
            text += separator;
        text += piece;
        isFirst = false;
    }
    return text;
}

/// Every occurrence of `from` (not empty), found from the start, replaced by `to`.
std::string replacingAll(std::string_view text, std::string_view from, std::string_view to);

/// The first place at which `text` holds `part` without regard to case, as a byte offset into `text`.
std::optional<std::size_t> findIgnoringCase(std::string_view text, std::string_view part);

bool isValidUTF8(std::string_view text);

/// `text` with every byte that is not part of valid UTF-8 replaced by U+FFFD.
std::string repaired(std::string_view text);

} // namespace tarnel::Text
