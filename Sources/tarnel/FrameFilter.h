// tarnel/FrameFilter.h: fits what a pane's terminal shows into the terminal at hand.
#pragma once
#include "tarnel/Terminal.h"
#include <string>
#include <string_view>

namespace tarnel {

/// Passes terminal output on as it is, but for what would leave the screen that it is drawn on or let it grow out of
/// the pane's size: switches between the main and the alternate screen and resets of the whole terminal are left out,
/// a pane of fewer lines scrolls within its own, and lines of a wider one are cut rather than wrapped.
/// Thread-safety: none.
class FrameFilter {
public:
    /// The bytes for a window of size `window`, of output for a pane of size `pane`, in any chunking: the start of a
    /// sequence waits for its rest.
    std::string pass(std::string_view bytes, const ScreenSize& pane, const ScreenSize& window);

    /// Whether a switch or reset was left out since this was asked last: what the pane shows is then to be drawn anew.
    bool takeSwitch();

private:
    std::string unread;
    bool hasSwitched = false;
};

} // namespace tarnel
