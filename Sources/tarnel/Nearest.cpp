#include "tarnel/Nearest.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>

namespace tarnel {

std::size_t Nearest::distance(std::string_view a, std::string_view b)
{
    using Row = std::vector<std::size_t>;
    Row older;
    Row before;
    Row row(b.size() + 1);
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                row[j] = i + j;
                continue;
            }
            const bool isSame = a[i - 1] == b[j - 1];
            row[j] = std::min({before[j] + 1, row[j - 1] + 1, before[j - 1] + (isSame ? 0U : 1U)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], older[j - 2] + 1);
        }
        older = before;
        before = row;
    }
    return before.back();
}

std::optional<std::string> Nearest::to(std::string_view text, const std::vector<std::string>& names)
{
    const std::string wanted = Text::lowercased(text);
    const auto farness = [&](const std::string& name) {
        const std::size_t dot = name.rfind('.');
        const std::size_t whole = distance(wanted, name);
        return dot == name.npos ? whole : std::min(whole, distance(wanted, name.substr(dot + 1)));
    };
    const auto nearest = std::min_element(names.begin(), names.end(),
        [&](const std::string& a, const std::string& b) { return farness(a) < farness(b); });
    const std::size_t most = std::max<std::size_t>(1, wanted.size() / 3);
    if (nearest == names.end() || farness(*nearest) > most)
        return std::nullopt;
    return *nearest;
}

} // namespace tarnel
