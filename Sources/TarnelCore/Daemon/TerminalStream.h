// TarnelCore/Daemon/TerminalStream.h: a pane's screen as the daemon streams it.
#pragma once
#include "TarnelCore/UnixSocket/LineChannel.h"
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace tarnel {

/// One piece of terminal output.
struct TerminalFrame {
    bool full = false; ///< The bytes redraw the whole screen rather than update it.
    std::int64_t width = 0; ///< Of the pane, in cells; 0 when the frame does not say.
    std::int64_t height = 0; ///< Likewise.
    std::string bytes; ///< To be written to a terminal as they are.

    bool operator==(const TerminalFrame&) const = default;

    /// Reads a frame line; nothing when it has no base64 text in "bytes".
    static std::optional<TerminalFrame> fromJSON(const JSON& line);
};

/// The frames of one pane, in order.
/// Thread-safety: one reader; `close` from any thread, which wakes it.
class TerminalStream {
public:
    explicit TerminalStream(std::shared_ptr<LineChannel> opened);

    /// Blocks for the next frame; nothing when the stream has ended. Throws MuxleError when the daemon refuses or
    /// fails, SocketError when reading fails or no line has come for a day.
    std::optional<TerminalFrame> next();

    void close() noexcept { channel->close(); }

private:
    const std::shared_ptr<LineChannel> channel;
};

} // namespace tarnel
