// tarnel/SSHChannel.h: lines to and from a daemon at the other end of a remote shell.
#pragma once
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Base/Process.h"
#include "TarnelCore/UnixSocket/LineChannel.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include "tarnel/RemoteError.h"
#include "tarnel/Wakeup.h"
#include <atomic>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

/// A running ssh command, or whatever stands in for it. Its first line is the first one that holds a JSON object: what
/// comes before, also on that line itself, is a shell's own.
/// Thread-safety: as a LineChannel.
/// Lifetime: the destructor ends the command.
class SSHChannel final : public LineChannel {
public:
    using Seconds = std::chrono::duration<double>;

    /// Starts the command; its descriptors are the channel's to set. `timeout` limits each wait for a line. Throws
    /// std::system_error when it cannot be started.
    SSHChannel(std::string host, Process::Options command, Seconds timeout);
    ~SSHChannel() override;
    SSHChannel(const SSHChannel&) = delete;
    SSHChannel& operator=(const SSHChannel&) = delete;

    /// Throws RemoteError when the command ends before the daemon has said anything, SocketError::io (EAGAIN) when the
    /// time is over.
    std::optional<std::string> readLine() override;
    void writeLine(std::string_view line) override;
    void close() noexcept override TARNEL_EXCLUDES(mutex);
    void setDeadline(std::chrono::steady_clock::time_point newDeadline) override;

private:
    struct FileCloser {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    [[nodiscard]] std::optional<std::string> takeLine();
    [[nodiscard]] bool receive();
    [[nodiscard]] RemoteError failure() const;
    [[nodiscard]] std::string complaint() const;

    const std::string host;
    const Seconds timeout;
    const std::unique_ptr<std::FILE, FileCloser> complaints; // what the command writes to its standard error
    Process process;
    const std::shared_ptr<LineSocket> writer;
    std::optional<std::chrono::steady_clock::time_point> deadline; // reader only
    std::string unread; // reader only: bytes received past the last returned line
    std::size_t searched = 0; // reader only: how many of `unread` are known to hold no line feed
    std::atomic<bool> hasSpoken = false; // the daemon; set once, by the reader
    std::atomic<bool> isClosed = false; // set once

    Mutex mutex;
    Wakeup stop; // raised with the mutex held
};

} // namespace tarnel
