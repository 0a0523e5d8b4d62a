// Demo/JsonText.h: JSON text put together by hand.
#pragma once
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace demo {

/// A string with its quotes and escapes.
std::string jsonString(std::string_view text);

/// An object of members whose values are JSON text.
std::string object(const std::vector<std::pair<std::string_view, std::string>>& members);

/// An array of elements that are JSON text.
std::string array(const std::vector<std::string>& elements);

} // namespace demo
