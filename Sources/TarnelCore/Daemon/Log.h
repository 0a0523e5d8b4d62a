// TarnelCore/Daemon/Log.h: the daemon's lines on standard error.
#pragma once
#include "TarnelCore/Base/Timestamp.h"
#include <functional>
#include <string>
#include <string_view>

namespace tarnel {

/// Takes one line without its line feed. Called from any thread.
using LineSink = std::function<void(std::string_view line)>;

/// Writes the line to standard error in one piece, so that lines of different threads never mix.
void writeToStandardError(std::string_view line);

/// Where the daemon's lines go.
struct Log {
    /// Every line, as it is printed.
    LineSink sink = writeToStandardError;

    /// An ordinary message: "tarneld: " and the text.
    void message(std::string_view text) const { sink("tarneld: " + std::string(text)); }

    /// A diagnostic as it stands.
    void diagnostic(std::string_view text) const { sink(text); }

    /// What was done to a pane, with the time: "2026-11-16T21:02:03Z request focus p3".
    void trace(Timestamp now, std::string_view text) const { sink(iso8601(now) + " " + std::string(text)); }
};

} // namespace tarnel
