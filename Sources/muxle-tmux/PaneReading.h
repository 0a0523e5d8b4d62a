// muxle-tmux/PaneReading.h: the text that panes show and have shown.
#pragma once
#include "muxle-tmux/Model.h"
#include "muxle-tmux/Monitor.h"
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel::tmux::PaneReading {

struct Request {
    enum class Source {
        visible, ///< The screen, line by line as it stands.
        recentUnwrapped, ///< The screen and the history above it, wrapped lines joined.
        detection, ///< The screen, wrapped lines joined: the text in which questions are looked for.
    };
    Source source = Source::visible;
    bool withColors = false; ///< SGR sequences stay.
    std::optional<std::int64_t> lines = {}; ///< The last so many, blank ones at the end not counted; else all.
};

/// Without a number of lines the history goes back so far.
constexpr std::int64_t usualHistory = 1000;

/// Lines apart by "\n", without blank lines at the end. Throws TmuxError.
std::string read(Monitor& monitor, const PaneModel& pane, const Request& request, Monitor::Deadline deadline);

/// `text` without blank lines and spaces at their ends, its last `lines` lines. Pure.
std::string lastLines(std::string_view text, std::optional<std::int64_t> lines);

} // namespace tarnel::tmux::PaneReading
