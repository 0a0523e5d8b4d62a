#include "TarnelCore/JSON/JSONNumber.h"
#include <cstdint>
#include <simdjson.h>
#include <string>

namespace tarnel::JSONNumber {

namespace {

/// So many digits fit a 64-bit integer, and fewer than so many cannot leave a double's range without an exponent.
constexpr std::size_t integerDigits = 18;
constexpr std::size_t safeLength = 300;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Takes the digits at the beginning of `text` off; returns whether there were any.
bool takeDigits(std::string_view& text)
{
    std::size_t count = 0;
    while (count < text.size() && isDigit(text[count]))
        ++count;
    text.remove_prefix(count);
    return count > 0;
}

/// The nearest double; nothing when it is out of range.
std::optional<double> decoded(std::string_view text)
{
    static thread_local simdjson::dom::parser parser;
    // It takes no integer past 64 bits, but the same with an exponent.
    const bool isInteger = text.find_first_of(".eE") == text.npos;
    const std::string written = std::string(text) + (isInteger ? "e0" : "");
    double number = 0;
    return parser.parse(written).get_double().get(number) == simdjson::SUCCESS ? std::optional(number) : std::nullopt;
}

} // namespace

bool isNumber(std::string_view text)
{
    std::string_view rest = text;
    if (rest.starts_with('-'))
        rest.remove_prefix(1);
    const bool isZero = rest.starts_with('0');
    const std::size_t length = rest.size();
    if (!takeDigits(rest) || (isZero && length - rest.size() > 1))
        return false;
    if (rest.starts_with('.')) {
        rest.remove_prefix(1);
        if (!takeDigits(rest))
            return false;
    }
    if (rest.empty())
        return text.size() < safeLength || decoded(text);
    if (rest[0] != 'e' && rest[0] != 'E')
        return false;
    rest.remove_prefix(1);
    if (rest.starts_with('+') || rest.starts_with('-'))
        rest.remove_prefix(1);
    return takeDigits(rest) && rest.empty() && decoded(text);
}

double value(std::string_view text)
{
    const bool isNegative = text.starts_with('-');
    const std::string_view digits = text.substr(isNegative ? 1 : 0);
    std::int64_t integer = 0;
    if (digits.size() > integerDigits)
        return *decoded(text);
    for (const char c : digits) {
        if (!isDigit(c))
            return *decoded(text);
        integer = integer * 10 + (c - '0');
    }
    const auto number = static_cast<double>(integer);
    return isNegative ? -number : number;
}

} // namespace tarnel::JSONNumber
