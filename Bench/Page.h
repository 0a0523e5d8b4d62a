// Bench/Page.h: the measured figures as a page for people.
#pragma once
#include "Bench/Growth.h"
#include "Bench/Report.h"
#include <string>
#include <string_view>
#include <vector>

namespace tarnel::bench {

/// `pattern` with the tables in the place of "{{rows}}", "{{panes}}", "{{clients}}" and "{{records}}".
std::string page(std::string_view pattern, const std::vector<RowResult>& rows, const Growth& growth);

/// The growth as charts, in SVG.
std::string plot(const Growth& growth);

} // namespace tarnel::bench
