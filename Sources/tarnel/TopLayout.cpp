#include "tarnel/TopLayout.h"
#include "tarnel/Wrap.h"
#include <algorithm>

namespace tarnel {

TopLayout TopLayout::of(const TopState& state)
{
    const auto [columns, rows] = state.size;
    TopLayout layout{
        .headingRows = rows >= 6 ? 1U : 0U, .noticeRows = rows >= 4 ? 1U : 0U, .footerRows = rows >= 2 ? 1U : 0U};
    if (rows >= 10) { // elsewhere one line must do
        constexpr std::size_t most = 3;
        layout.noticeRows = std::clamp<std::size_t>(wrapped(state.notice.text, columns).size(), 1, most);
    }
    layout.paneRows = rows - std::min(rows, layout.headingRows + layout.noticeRows + layout.footerRows);
    if (state.isWide()) {
        layout.queueColumns = std::clamp<std::size_t>(columns * 2 / 5, 30, 64);
        layout.gapColumns = 3;
        layout.cardColumns = columns - layout.queueColumns - layout.gapColumns;
    } else if (state.pane == TopState::Pane::queue) {
        layout.queueColumns = columns;
    } else {
        layout.cardColumns = columns;
    }
    return layout;
}

} // namespace tarnel
