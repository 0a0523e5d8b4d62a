// tarnel/TopLayout.h: where things stand in the full-screen view.
#pragma once
#include "tarnel/TopState.h"
#include <cstddef>

namespace tarnel {

/// Cells and lines of the view's parts. One that has none is not shown.
struct TopLayout {
    std::size_t headingRows = 0; ///< 0 or 1, like the footer's.
    std::size_t paneRows = 0;
    std::size_t noticeRows = 0; ///< As many as the notice takes, within reason; 1 where there is none.
    std::size_t footerRows = 0;
    std::size_t queueColumns = 0;
    std::size_t gapColumns = 0; ///< Between the panes.
    std::size_t cardColumns = 0;

    static TopLayout of(const TopState& state);
};

} // namespace tarnel
