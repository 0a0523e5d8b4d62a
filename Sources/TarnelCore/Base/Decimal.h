// TarnelCore/Base/Decimal.h: decimal numbers from text, whatever the process's locale.
#pragma once
#include <optional>
#include <string_view>

namespace tarnel {

/// Reads `text`, all of it, as a decimal number with an optional sign, fraction and exponent: "7", "+.5", "1e-3".
/// Rounds to the nearest double; nothing when the text has another form ("inf", "0x1p3", " 7") or the number is out of
/// range.
std::optional<double> decimalNumber(std::string_view text);

} // namespace tarnel
