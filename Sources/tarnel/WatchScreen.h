// tarnel/WatchScreen.h: what `tarnel watch` shows on a terminal.
#pragma once
#include "TarnelCore/Base/Timestamp.h"
#include "tarnel/LiveQueue.h"
#include "tarnel/Terminal.h"
#include <string>
#include <vector>

namespace tarnel {

/// The lines of the screen, none longer than its columns and no more than its rows. Pure.
std::vector<std::string> watchScreen(const LiveQueue::View& view, Timestamp now, const ScreenSize& size, bool hasColor);

/// Which daemons have gone, in one line; empty when none has. Pure.
std::string lostDaemons(const LiveQueue::View& view);

} // namespace tarnel
