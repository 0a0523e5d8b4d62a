// TarnelCore/UnixSocket/LineChannel.h: any transport of newline-framed text.
#pragma once
#include "TarnelCore/JSON/JSON.h"
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

/// Carries lines both ways.
/// Thread-safety: one reader; any number of writers, whose lines never interleave; `close` from any thread.
class LineChannel {
public:
    virtual ~LineChannel() = default;

    /// Blocks for the next line, without its line feed. Nothing: end of stream. Throws SocketError when reading fails.
    virtual std::optional<std::string> readLine() = 0;

    /// Writes `line` and a line feed whole, blocking while the peer is slow. Throws SocketError.
    virtual void writeLine(std::string_view line) = 0;

    /// How much of a line went out at once.
    enum class Started { nothing, part, whole };

    /// Sends what the peer has room for of `line` and a line feed, and never waits. The rest of a part is sent before
    /// any other line, by whoever writes next, or by `finishLine`. Nothing is sent while another line is being written,
    /// by a channel that cannot tell whether it would wait, or when sending fails, which the next `writeLine` tells.
    virtual Started startLine([[maybe_unused]] const std::shared_ptr<const std::string>& line)
    {
        return Started::nothing;
    }

    /// Sends the rest of a line that was started, if any is left, blocking while the peer is slow. Throws SocketError.
    virtual void finishLine() { }

    /// Ends both directions and wakes a blocked reader or writer. Any number of times.
    virtual void close() noexcept = 0;

    /// Fails every later `readLine` and `writeLine` that is not done by `deadline`, however many pieces arrive meanwhile.
    /// To be called by the one thread that reads and writes. A channel that never blocks may ignore it.
    virtual void setDeadline([[maybe_unused]] std::chrono::steady_clock::time_point deadline) { }

    /// Fails a later `writeLine` that waits and of which the peer takes nothing for so long. A channel that never blocks
    /// may ignore it.
    virtual void setWriteTimeout([[maybe_unused]] std::chrono::duration<double> timeout) { }

    /// The next line as JSON; nothing at end of stream. Throws SocketError, or DecodingError for a line that is not JSON.
    std::optional<JSON> readJSON()
    {
        const auto line = readLine();
        return line ? std::optional(JSON::parse(*line)) : std::nullopt;
    }

    void writeJSON(const JSON& value) { writeLine(value.serialized()); }
};

/// Opens channels to one peer.
/// Thread-safety: `open` may be called from any thread.
class LineChannelOpener {
public:
    virtual ~LineChannelOpener() = default;

    /// A new channel whose reads wait at most `timeout`. Throws SocketError.
    virtual std::shared_ptr<LineChannel> open(std::chrono::duration<double> timeout) = 0;

    /// Names the peer in messages.
    [[nodiscard]] virtual std::string label() const = 0;
};

} // namespace tarnel
