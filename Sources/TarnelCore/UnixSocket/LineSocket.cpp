#include "TarnelCore/UnixSocket/LineSocket.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

namespace tarnel {

namespace {

constexpr std::size_t longestPath = 103; // what every platform's address has room for
constexpr int backlog = 32;
constexpr std::size_t readChunk = 65536;

#if defined(__APPLE__)
constexpr int sendFlags = 0; // SO_NOSIGPIPE is set on the socket instead
#else
constexpr int sendFlags = MSG_NOSIGNAL;
#endif

sockaddr_un addressOf(const std::string& path)
{
    if (path.size() > longestPath)
        throw SocketError::pathTooLong(path);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

/// No child process inherits the descriptor, and no write raises a signal.
void prepare([[maybe_unused]] int descriptor)
{
#if defined(__APPLE__)
    ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    const int on = 1;
    ::setsockopt(descriptor, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
#endif
}

FileDescriptor newSocket()
{
#if defined(__APPLE__)
    FileDescriptor made(::socket(AF_UNIX, SOCK_STREAM, 0));
#else
    FileDescriptor made(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
#endif
    if (!made.isOpen())
        throw SocketError::io(errno);
    prepare(made.get());
    return made;
}

const sockaddr* generic(const sockaddr_un& address) { return reinterpret_cast<const sockaddr*>(&address); }

void setTimeout(int descriptor, int option, timeval limit)
{
    ::setsockopt(descriptor, SOL_SOCKET, option, &limit, sizeof limit);
}

} // namespace

LineSocket::LineSocket(FileDescriptor connected) noexcept
    : descriptor(std::move(connected))
{
}

std::shared_ptr<LineSocket> LineSocket::listen(const std::string& path)
{
    ::unlink(path.c_str());
    FileDescriptor made = newSocket();
    const sockaddr_un address = addressOf(path);
    // Nobody can connect before `listen`, and by then the file is its owner's alone.
    if (::bind(made.get(), generic(address), sizeof address) != 0 || ::chmod(path.c_str(), S_IRUSR | S_IWUSR) != 0
        || ::listen(made.get(), backlog) != 0)
        throw SocketError::bind(path, errno);
    return std::make_shared<LineSocket>(std::move(made));
}

std::shared_ptr<LineSocket> LineSocket::connect(const std::string& path)
{
    FileDescriptor made = newSocket();
    const sockaddr_un address = addressOf(path);
    if (::connect(made.get(), generic(address), sizeof address) != 0)
        throw SocketError::connect(path, errno);
    return std::make_shared<LineSocket>(std::move(made));
}

std::shared_ptr<LineSocket> LineSocket::accept()
{
    for (;;) {
#if defined(__APPLE__)
        FileDescriptor made(::accept(descriptor.get(), nullptr, nullptr));
#else
        FileDescriptor made(::accept4(descriptor.get(), nullptr, nullptr, SOCK_CLOEXEC));
#endif
        if (made.isOpen()) {
            prepare(made.get());
            return std::make_shared<LineSocket>(std::move(made));
        }
        if (errno != EINTR)
            throw SocketError::io(errno);
    }
}

std::optional<std::string> LineSocket::readLine()
{
    std::array<char, readChunk> chunk;
    for (;;) {
        const std::size_t feed = unread.find('\n', std::max(consumed, searched));
        if (feed != unread.npos) {
            std::string line = unread.substr(consumed, feed - consumed);
            consumed = feed + 1;
            return line;
        }
        unread.erase(0, consumed);
        consumed = 0;
        searched = unread.size();
        if (unread.empty() && unread.capacity() > readChunk)
            unread = {}; // what one long line took is given back
        if (unread.size() > lineLimit)
            throw SocketError::io(EMSGSIZE);
        spendRemainingTime(SO_RCVTIMEO);
        const ssize_t count = ::recv(descriptor.get(), chunk.data(), chunk.size(), 0);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw SocketError::io(errno);
        if (count == 0 && unread.empty())
            return std::nullopt;
        if (count == 0) {
            searched = 0;
            return std::exchange(unread, {});
        }
        unread.append(chunk.data(), static_cast<std::size_t>(count));
    }
}

void LineSocket::writeLine(std::string_view line)
{
    char feed = '\n';
    std::array<iovec, 2> parts{{{const_cast<char*>(line.data()), line.size()}, {&feed, 1}}};
    MutexLock lock(writeMutex);
    for (std::size_t first = 0; first < parts.size();) {
        if (parts[first].iov_len == 0) {
            ++first;
            continue;
        }
        msghdr message{};
        message.msg_iov = &parts[first];
        message.msg_iovlen = static_cast<decltype(message.msg_iovlen)>(parts.size() - first);
        spendRemainingTime(SO_SNDTIMEO);
        const ssize_t sent = ::sendmsg(descriptor.get(), &message, sendFlags);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent < 0)
            throw SocketError::io(errno);
        auto left = static_cast<std::size_t>(sent);
        for (std::size_t i = first; i < parts.size(); ++i) {
            const std::size_t taken = std::min(left, parts[i].iov_len);
            parts[i].iov_base = static_cast<char*>(parts[i].iov_base) + taken;
            parts[i].iov_len -= taken;
            left -= taken;
        }
    }
}

void LineSocket::close() noexcept
{
    if (!isClosed.exchange(true))
        ::shutdown(descriptor.get(), SHUT_RDWR);
}

void LineSocket::setReadTimeout(std::chrono::duration<double> timeout)
{
    constexpr double most = 1e9; // some thirty years
    if (!(timeout.count() > 0 && timeout.count() <= most))
        throw std::invalid_argument("a read time-out must be a positive number of seconds");
    const double whole = std::trunc(timeout.count());
    timeval limit{};
    limit.tv_sec = static_cast<decltype(limit.tv_sec)>(whole);
    limit.tv_usec = static_cast<decltype(limit.tv_usec)>((timeout.count() - whole) * 1'000'000);
    setTimeout(descriptor.get(), SO_RCVTIMEO, limit);
}

void LineSocket::setWriteTimeout(std::chrono::seconds timeout)
{
    timeval limit{};
    limit.tv_sec = static_cast<decltype(limit.tv_sec)>(timeout.count());
    setTimeout(descriptor.get(), SO_SNDTIMEO, limit);
}

void LineSocket::setDeadline(std::chrono::steady_clock::time_point newDeadline) { deadline = newDeadline; }

/// With a deadline, lets the next system call wait no longer than up to it.
void LineSocket::spendRemainingTime(int timeoutOption) const
{
    if (!deadline)
        return;
    const auto left = *deadline - std::chrono::steady_clock::now();
    if (left <= left.zero())
        throw SocketError::io(EAGAIN);
    // Rounded up: the system takes a time-out of zero for none.
    const auto whole = std::chrono::ceil<std::chrono::milliseconds>(left).count();
    timeval limit{};
    limit.tv_sec = static_cast<decltype(limit.tv_sec)>(whole / 1000);
    limit.tv_usec = static_cast<decltype(limit.tv_usec)>(whole % 1000 * 1000);
    setTimeout(descriptor.get(), timeoutOption, limit);
}

void LineSocket::shutdownWrite() noexcept { ::shutdown(descriptor.get(), SHUT_WR); }

SocketOpener::SocketOpener(std::string socketPath)
    : path(std::move(socketPath))
{
}

std::shared_ptr<LineChannel> SocketOpener::open(std::chrono::duration<double> timeout)
{
    auto channel = LineSocket::connect(path);
    channel->setReadTimeout(timeout);
    return channel;
}

} // namespace tarnel
