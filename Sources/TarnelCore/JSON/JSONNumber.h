// TarnelCore/JSON/JSONNumber.h: the numbers of JSON texts.
#pragma once
#include <optional>
#include <string_view>

namespace tarnel {

/// Pure functions.
namespace JSONNumber {

/// Whether `text` is a number as JSON writes them, within a double's range.
bool isNumber(std::string_view text);

/// The double nearest to `text`, which is a number.
double value(std::string_view text);

} // namespace JSONNumber

} // namespace tarnel
