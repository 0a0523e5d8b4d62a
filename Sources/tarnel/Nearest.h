// tarnel/Nearest.h: what the user may have meant by a name that is unknown.
#pragma once
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel::Nearest {

/// How many letters must be added, left out, replaced or exchanged with their neighbour to make `a` of `b`.
/// The measure: the optimal string alignment distance. Pure; counts bytes.
std::size_t distance(std::string_view a, std::string_view b);

/// The name most like `text`, without regard to case; one that ends with `text` behind a dot counts as alike. Nothing
/// when none is alike. Pure.
std::optional<std::string> to(std::string_view text, const std::vector<std::string>& names);

} // namespace tarnel::Nearest
