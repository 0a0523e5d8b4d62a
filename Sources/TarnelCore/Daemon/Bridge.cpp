#include "TarnelCore/Daemon/Bridge.h"
#include "TarnelCore/Base/FileDescriptor.h"
#include "TarnelCore/Base/Thread.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <poll.h>
#include <string>
#include <string_view>
#include <thread>
#include <unistd.h>

namespace tarnel {

namespace {

constexpr std::size_t readChunk = 65536;

/// A pipe of which nobody writes: closing its sending end tells the receiving end's poll to stop.
struct StopSignal {
    FileDescriptor receiver;
    FileDescriptor sender;

    static StopSignal make()
    {
        std::array<int, 2> ends{};
        if (::pipe(ends.data()) != 0)
            throw SocketError::io(errno);
        StopSignal made{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
        ::fcntl(ends[0], F_SETFD, FD_CLOEXEC);
        ::fcntl(ends[1], F_SETFD, FD_CLOEXEC);
        return made;
    }
};

/// The next bytes of `input`; empty at its end, when it fails, or once `stop` is told.
std::string_view readSome(int input, int stop, std::array<char, readChunk>& chunk)
{
    for (;;) {
        std::array<pollfd, 2> watched{{{input, POLLIN, 0}, {stop, POLLIN, 0}}};
        if (::poll(watched.data(), watched.size(), -1) < 0) {
            if (errno == EINTR)
                continue;
            return {};
        }
        if (watched[1].revents != 0)
            return {};
        const ssize_t count = ::read(input, chunk.data(), chunk.size());
        if (count >= 0)
            return {chunk.data(), static_cast<std::size_t>(count)};
        if (errno != EINTR && errno != EAGAIN)
            return {};
    }
}

/// Sends every line of `input`, the last one also when it has no line feed, then ends the sending direction.
void sendLines(int input, int stop, LineSocket& socket)
{
    try {
        const auto chunk = std::make_unique<std::array<char, readChunk>>();
        std::string line;
        for (;;) {
            std::string_view bytes = readSome(input, stop, *chunk);
            if (bytes.empty())
                break;
            for (auto feed = bytes.find('\n'); feed != bytes.npos; feed = bytes.find('\n')) {
                line += bytes.substr(0, feed);
                socket.writeLine(line);
                line.clear();
                bytes.remove_prefix(feed + 1);
            }
            line += bytes;
        }
        if (!line.empty())
            socket.writeLine(line);
    } catch (const SocketError&) {
        // The daemon takes no more; what it still sends goes on to arrive.
    }
    socket.shutdownWrite();
}

/// Writes all of `bytes`; false when `output` fails.
bool writeAll(int output, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(output, bytes.data(), bytes.size());
        if (count >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            pollfd writable{output, POLLOUT, 0};
            ::poll(&writable, 1, -1);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

void receiveLines(LineSocket& socket, int output)
{
    try {
        while (auto line = socket.readLine()) {
            *line += '\n';
            if (!writeAll(output, *line))
                return;
        }
    } catch (const SocketError&) {
        // A connection that fails is a connection that has ended.
    }
}

std::shared_ptr<LineSocket> reach(const std::string& path)
{
    try {
        return LineSocket::connect(path);
    } catch (const SocketError&) {
        return nullptr;
    }
}

} // namespace

int Bridge::run(const std::string& socketPath, int input, int output)
{
    std::signal(SIGPIPE, SIG_IGN);
    const std::shared_ptr<LineSocket> socket = reach(socketPath);
    if (!socket) {
        const std::string message = "tarneld bridge: cannot reach " + socketPath + "\n";
        writeAll(STDERR_FILENO, message);
        return 1;
    }
    StopSignal stop = StopSignal::make();
    std::thread sender([&, stopped = stop.receiver.get()] {
        setThreadName("bridge.send");
        sendLines(input, stopped, *socket);
    });
    receiveLines(*socket, output);
    socket->close(); // wakes the sender from a write
    stop.sender = FileDescriptor(); // and from a read
    sender.join();
    return 0;
}

} // namespace tarnel
