// TarnelCore/UnixSocket/LineSocket.h: newline-framed text over a Unix-domain stream socket.
#pragma once
#include "TarnelCore/Base/FileDescriptor.h"
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/UnixSocket/LineChannel.h"
#include "TarnelCore/UnixSocket/SocketError.h"
#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

/// A connected or listening socket. `close` only shuts it down, which wakes whoever is blocked on it; the descriptor
/// goes with the last reference, so that no thread ever reads from a number that has become another socket's.
/// Thread-safety: as a LineChannel; `accept` and `setReadTimeout` from the reading thread.
class LineSocket final : public LineChannel {
public:
    explicit LineSocket(FileDescriptor connected) noexcept;

    /// A socket that listens at `path` (at most 103 bytes), in place of any file there, for its owner only (mode 600).
    /// Throws SocketError: pathTooLong, bind or io.
    static std::shared_ptr<LineSocket> listen(const std::string& path);

    /// Connects to the socket file at `path` (at most 103 bytes). Blocks until the kernel answers.
    /// Throws SocketError: pathTooLong, connect or io.
    static std::shared_ptr<LineSocket> connect(const std::string& path);

    /// Blocks for the next connection of a listening socket. Throws SocketError::io.
    std::shared_ptr<LineSocket> accept();

    std::optional<std::string> readLine() override;
    void writeLine(std::string_view line) override TARNEL_EXCLUDES(writeMutex);
    void close() noexcept override;
    /// Past the deadline, reading and writing fail with SocketError::io (EAGAIN). Replaces both time-outs below.
    void setDeadline(std::chrono::steady_clock::time_point deadline) override;

    /// Fails a later `readLine` that waits longer, with SocketError::io. A value that is not a positive number of
    /// seconds the system can hold throws std::invalid_argument.
    void setReadTimeout(std::chrono::duration<double> timeout);

    /// Fails a `writeLine` that makes no progress for so long, with SocketError::io.
    void setWriteTimeout(std::chrono::seconds timeout);

    /// Ends the sending direction only: the peer sees the end of the stream, reading goes on.
    void shutdownWrite() noexcept;

    /// The longest line that `readLine` takes; a longer one fails it with SocketError::io (EMSGSIZE). Unlimited at first.
    void setLineLimit(std::size_t bytes) { lineLimit = bytes; }

private:
    void spendRemainingTime(int timeoutOption) const;

    const FileDescriptor descriptor;
    std::optional<std::chrono::steady_clock::time_point> deadline; // constant once a second thread uses the socket
    std::atomic<bool> isClosed = false; // set once; only makes `close` act once

    std::string unread;        // reader only: bytes received past the last returned line
    std::size_t consumed = 0;  // reader only: how many of `unread` were returned already
    std::size_t searched = 0;  // reader only: how many of `unread` are known to hold no line feed
    std::size_t lineLimit = std::string::npos;

    Mutex writeMutex; // one line on the wire at a time
};

/// Opens connections to the socket file at one path.
class SocketOpener final : public LineChannelOpener {
public:
    explicit SocketOpener(std::string path);
    std::shared_ptr<LineChannel> open(std::chrono::duration<double> timeout) override;
    [[nodiscard]] std::string label() const override { return path; }

private:
    const std::string path;
};

} // namespace tarnel
