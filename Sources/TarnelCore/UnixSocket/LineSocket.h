// TarnelCore/UnixSocket/LineSocket.h: newline-framed text over a Unix-domain stream socket.
#pragma once
#include "TarnelCore/Base/FileDescriptor.h"
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Base/PeerUser.h"
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
/// Thread-safety: as a LineChannel; `accept` and the limits' setters from the reading thread.
class LineSocket final : public LineChannel {
public:
    using Seconds = std::chrono::duration<double>;
    using Deadline = std::chrono::steady_clock::time_point;

    explicit LineSocket(FileDescriptor connected) noexcept;

    /// A socket that listens at `path` (at most 103 bytes), in place of any file there, for its owner only (mode 600).
    /// Throws SocketError: pathTooLong, bind or io.
    static std::shared_ptr<LineSocket> listen(const std::string& path);

    /// Connects to the socket file at `path` (at most 103 bytes). Blocks until the kernel answers, which it may not do
    /// while too many others wait to be accepted. With `patience` that takes no longer, and no write of the socket
    /// waits longer, than so many seconds. Throws SocketError: pathTooLong, connect or io; std::invalid_argument for a
    /// patience that `setReadTimeout` would not take.
    static std::shared_ptr<LineSocket> connect(const std::string& path, std::optional<Seconds> patience = std::nullopt);

    /// The same for an exchange that must be over in time: connecting, every write and every read fail with
    /// SocketError::io (EAGAIN) once `deadline` has passed, however busy the peer has been until then.
    static std::shared_ptr<LineSocket> connectUntil(const std::string& path, Deadline deadline);

    /// Whether `connect` would fail since there is no file at `path`: costs far less than to see it fail.
    static bool isMissing(const std::string& path) noexcept;

    /// Whether someone listens at `path` now.
    static bool isListening(const std::string& path) noexcept;

    /// The point `timeout` from now. Throws std::invalid_argument for a time-out that `setReadTimeout` would not take.
    static Deadline deadlineAfter(Seconds timeout);

    /// Blocks for the next connection of a listening socket. Throws SocketError::io.
    std::shared_ptr<LineSocket> accept();

    /// The user whose process is at the other end; nothing when the system does not tell.
    [[nodiscard]] std::optional<uid_t> peerUser() const noexcept { return tarnel::peerUser(descriptor.get()); }

    std::optional<std::string> readLine() override;
    /// As in LineChannel. When it fails in the middle of a line, no other line is sent after the torn one.
    void writeLine(std::string_view line) override TARNEL_EXCLUDES(writeMutex);
    Started startLine(const std::shared_ptr<const std::string>& line) override TARNEL_EXCLUDES(writeMutex);
    void finishLine() override TARNEL_EXCLUDES(writeMutex);
    void close() noexcept override;
    void setDeadline(Deadline newDeadline) override { deadline = newDeadline; }

    /// Fails a later `readLine` that receives nothing for so long, with SocketError::io (EAGAIN). A value that is not a
    /// positive number of seconds the system can hold throws std::invalid_argument. A deadline has precedence.
    void setReadTimeout(Seconds timeout);

    /// Fails a later `writeLine` that waits and of which the peer takes nothing for so long. The system tells what is
    /// taken in pieces of some ten KiB; less is nothing. Otherwise as `setReadTimeout`.
    void setWriteTimeout(Seconds timeout) override TARNEL_EXCLUDES(writeMutex);

    /// Ends the sending direction only: the peer sees the end of the stream, reading goes on.
    void shutdownWrite() noexcept;

    /// The longest line that `readLine` takes; a longer one fails it, and all later ones, with SocketError::io
    /// (EMSGSIZE). Unlimited at first.
    void setLineLimit(std::size_t bytes) { lineLimit = bytes; }

private:
    LineSocket(FileDescriptor connected, std::optional<Deadline> deadline) noexcept;
    std::string takeLine(std::size_t feed);
    bool receive();
    Started startUnlessBusy(const std::shared_ptr<const std::string>& line) TARNEL_REQUIRES(writeMutex);
    void sendStarted() TARNEL_REQUIRES(writeMutex);
    void sendWhole(std::string_view line, std::size_t sent) TARNEL_REQUIRES(writeMutex);
    int send(std::string_view line, std::size_t& sent) TARNEL_REQUIRES(writeMutex);

    const FileDescriptor descriptor;
    std::optional<Deadline> deadline; // of every wait; constant once a second thread uses the socket
    std::atomic<bool> isClosed = false; // set once; only makes `close` act once

    std::string unread; // reader only: bytes received past the last returned line
    std::size_t consumed = 0; // reader only: how many of `unread` were returned already
    std::size_t searched = 0; // reader only: how many of `unread` are known to hold no line feed
    std::size_t lineLimit = std::string::npos;

    Mutex writeMutex; // one line on the wire at a time
    std::optional<Seconds> writeTimeout TARNEL_GUARDED_BY(writeMutex);
    std::shared_ptr<const std::string> started TARNEL_GUARDED_BY(writeMutex); // the line that was sent in part
    std::size_t startedBytes TARNEL_GUARDED_BY(writeMutex) = 0; // how many bytes of it were
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
