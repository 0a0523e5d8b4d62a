#include "tarnel/StyledRow.h"
#include "TarnelCore/Base/TerminalText.h"
#include <algorithm>

namespace tarnel {

StyledRow& StyledRow::add(std::string text, Paint paint)
{
    if (!text.empty())
        spans.push_back({std::move(text), paint});
    return *this;
}

StyledRow& StyledRow::add(const StyledRow& row)
{
    spans.insert(spans.end(), row.spans.begin(), row.spans.end());
    return *this;
}

std::size_t StyledRow::width() const
{
    std::size_t cells = 0;
    for (const StyledSpan& span : spans)
        cells += TerminalText::width(span.text);
    return cells;
}

std::string StyledRow::text() const
{
    std::string all;
    for (const StyledSpan& span : spans)
        all += span.text;
    return all;
}

StyledRow StyledRow::cut(std::size_t cells) const
{
    if (width() <= cells)
        return *this;
    StyledRow row;
    std::size_t left = cells;
    for (const StyledSpan& span : spans) {
        const std::size_t needed = TerminalText::width(span.text);
        if (needed < left) {
            row.spans.push_back(span);
            left -= needed;
            continue;
        }
        // Something follows or this is too long: either way the ellipsis goes here.
        StyledSpan last = span;
        last.text = TerminalText::cut(span.text + "  ", left);
        if (!last.text.empty())
            row.spans.push_back(std::move(last));
        break;
    }
    return row;
}

StyledRow StyledRow::padded(std::size_t cells) const
{
    StyledRow row = cut(cells);
    return row.add(std::string(cells - std::min(cells, row.width()), ' '));
}

StyledRow StyledRow::selected() const
{
    StyledRow row = *this;
    for (StyledSpan& span : row.spans)
        span.isSelected = true;
    return row;
}

} // namespace tarnel
