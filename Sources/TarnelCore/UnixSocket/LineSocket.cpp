#include "TarnelCore/UnixSocket/LineSocket.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
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
constexpr std::size_t shortLine = 512; // shorter ones are sent faster in one piece

/// How often a write that waits is tried again: the kernel tells of room only once most of the buffer is empty.
constexpr std::chrono::milliseconds writeInterval{50};

using Seconds = LineSocket::Seconds;
using Deadline = LineSocket::Deadline;

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
    return made;
}

const sockaddr* generic(const sockaddr_un& address) { return reinterpret_cast<const sockaddr*>(&address); }

void validate(Seconds timeout)
{
    constexpr double most = 1e9; // some thirty years
    if (!(timeout.count() > 0 && timeout.count() <= most))
        throw std::invalid_argument("a time-out must be a positive number of seconds");
}

void setTimeout(int descriptor, int option, Seconds timeout)
{
    const double whole = std::trunc(timeout.count());
    timeval limit{};
    limit.tv_sec = static_cast<decltype(limit.tv_sec)>(whole);
    limit.tv_usec = static_cast<decltype(limit.tv_usec)>((timeout.count() - whole) * 1'000'000);
    if (limit.tv_sec == 0 && limit.tv_usec == 0)
        limit.tv_usec = 1; // zero would mean no limit
    ::setsockopt(descriptor, SOL_SOCKET, option, &limit, sizeof limit);
}

/// Limits the next wait to what is left; false when nothing is.
bool setTimeout(int descriptor, int option, Deadline deadline)
{
    const Seconds left = deadline - std::chrono::steady_clock::now();
    if (left <= Seconds::zero())
        return false;
    setTimeout(descriptor, option, left);
    return true;
}

FileDescriptor connected(const std::string& path, std::optional<Deadline> deadline)
{
    FileDescriptor made = newSocket();
    const sockaddr_un address = addressOf(path);
    for (;;) {
        if (deadline && !setTimeout(made.get(), SO_SNDTIMEO, *deadline)) // holds for connecting too
            throw SocketError::io(EAGAIN);
        if (::connect(made.get(), generic(address), sizeof address) == 0)
            return made;
        if (errno == EAGAIN)
            throw SocketError::io(errno);
        if (errno != EINTR)
            throw SocketError::connect(path, errno);
    }
}

/// Sends what the system takes of the bytes of `line` and its line feed from `start` on.
ssize_t sendPart(int descriptor, std::string_view line, std::size_t start, int flags)
{
    char feed = '\n';
    const std::string_view rest = line.substr(start);
    if (rest.size() < shortLine) {
        std::array<char, shortLine> whole;
        *std::copy(rest.begin(), rest.end(), whole.begin()) = feed;
        return ::send(descriptor, whole.data(), rest.size() + 1, sendFlags | flags);
    }
    std::array<iovec, 2> parts{{{const_cast<char*>(rest.data()), rest.size()}, {&feed, 1}}};
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    return ::sendmsg(descriptor, &message, sendFlags | flags);
}

/// Waits until the system may take more, not far beyond `deadline`; false once that has passed.
bool awaitRoom(int descriptor, Deadline deadline)
{
    const auto left = deadline - std::chrono::steady_clock::now();
    if (left <= Deadline::duration::zero())
        return false;
    const auto limit = std::chrono::ceil<std::chrono::milliseconds>(std::min<Deadline::duration>(left, writeInterval));
    pollfd writable{descriptor, POLLOUT, 0};
    ::poll(&writable, 1, static_cast<int>(limit.count()));
    return true;
}

} // namespace

LineSocket::LineSocket(FileDescriptor connected) noexcept
    : LineSocket(std::move(connected), std::nullopt)
{
}

LineSocket::LineSocket(FileDescriptor connected, std::optional<Deadline> limit) noexcept
    : descriptor(std::move(connected))
    , deadline(limit)
{
    prepare(descriptor.get());
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

std::shared_ptr<LineSocket> LineSocket::connect(const std::string& path, std::optional<Seconds> patience)
{
    if (!patience)
        return std::make_shared<LineSocket>(connected(path, std::nullopt));
    auto made = std::make_shared<LineSocket>(connected(path, deadlineAfter(*patience)));
    made->setWriteTimeout(*patience);
    return made;
}

std::shared_ptr<LineSocket> LineSocket::connectUntil(const std::string& path, Deadline deadline)
{
    return std::shared_ptr<LineSocket>(new LineSocket(connected(path, deadline), deadline));
}

bool LineSocket::isMissing(const std::string& path) noexcept
{
    return path.size() <= longestPath && ::access(path.c_str(), F_OK) != 0 && errno == ENOENT;
}

bool LineSocket::isListening(const std::string& path) noexcept
{
    if (path.size() > longestPath)
        return false;
    const sockaddr_un address = addressOf(path);
    const FileDescriptor made(::socket(AF_UNIX, SOCK_STREAM, 0));
    ::fcntl(made.get(), F_SETFD, FD_CLOEXEC);
    ::fcntl(made.get(), F_SETFL, O_NONBLOCK);
    // One whose queue of connections is full listens too.
    return ::connect(made.get(), generic(address), sizeof address) == 0 || errno == EAGAIN || errno == EINPROGRESS;
}

LineSocket::Deadline LineSocket::deadlineAfter(Seconds timeout)
{
    validate(timeout);
    return std::chrono::steady_clock::now() + std::chrono::duration_cast<Deadline::duration>(timeout);
}

std::shared_ptr<LineSocket> LineSocket::accept()
{
    for (;;) {
#if defined(__APPLE__)
        FileDescriptor made(::accept(descriptor.get(), nullptr, nullptr));
#else
        FileDescriptor made(::accept4(descriptor.get(), nullptr, nullptr, SOCK_CLOEXEC));
#endif
        if (made.isOpen())
            return std::make_shared<LineSocket>(std::move(made));
        if (errno != EINTR)
            throw SocketError::io(errno);
    }
}

std::optional<std::string> LineSocket::readLine()
{
    for (;;) {
        const std::size_t feed = unread.find('\n', std::max(consumed, searched));
        if (std::min(feed, unread.size()) - consumed > lineLimit)
            throw SocketError::io(EMSGSIZE);
        if (feed != unread.npos)
            return takeLine(feed);
        unread.erase(0, consumed);
        consumed = 0;
        searched = unread.size();
        if (unread.empty() && unread.capacity() > readChunk)
            unread.shrink_to_fit(); // what one long line took is given back
        if (!receive()) {
            searched = 0;
            return unread.empty() ? std::nullopt : std::optional(std::exchange(unread, {}));
        }
    }
}

/// The line that ends before the line feed at `feed`.
std::string LineSocket::takeLine(std::size_t feed)
{
    if (consumed == 0 && feed > readChunk && feed + 1 == unread.size()) { // long and alone: worth no copy
        unread.pop_back();
        searched = 0;
        return std::exchange(unread, {});
    }
    std::string line = unread.substr(consumed, feed - consumed);
    consumed = feed + 1;
    return line;
}

/// Appends what arrives next to `unread`, blocking until something does; false at the end of the stream.
bool LineSocket::receive()
{
    std::array<char, readChunk> chunk;
    for (;;) {
        if (deadline && !setTimeout(descriptor.get(), SO_RCVTIMEO, *deadline))
            throw SocketError::io(EAGAIN);
        const ssize_t count = ::recv(descriptor.get(), chunk.data(), chunk.size(), 0);
        if (count >= 0) {
            unread.append(chunk.data(), static_cast<std::size_t>(count));
            return count > 0;
        }
        if (errno != EINTR)
            throw SocketError::io(errno);
    }
}

void LineSocket::writeLine(std::string_view line)
{
    MutexLock lock(writeMutex);
    sendStarted();
    sendWhole(line, 0);
}

LineSocket::Started LineSocket::startLine(const std::shared_ptr<const std::string>& line)
{
    if (!writeMutex.tryLock())
        return Started::nothing;
    const Started result = startUnlessBusy(line);
    writeMutex.unlock();
    return result;
}

LineSocket::Started LineSocket::startUnlessBusy(const std::shared_ptr<const std::string>& line)
{
    const ssize_t count = started ? 0 : sendPart(descriptor.get(), *line, 0, MSG_DONTWAIT);
    if (count <= 0)
        return Started::nothing;
    startedBytes = static_cast<std::size_t>(count);
    if (startedBytes > line->size())
        return Started::whole;
    started = line;
    return Started::part;
}

void LineSocket::finishLine()
{
    MutexLock lock(writeMutex);
    sendStarted();
}

void LineSocket::sendStarted()
{
    if (const auto line = std::exchange(started, nullptr))
        sendWhole(*line, startedBytes);
}

/// Sends `line` and a line feed but for the first `sent` bytes, which went out before.
void LineSocket::sendWhole(std::string_view line, std::size_t sent)
{
    const int error = send(line, sent);
    if (error == 0)
        return;
    if (sent > 0)
        shutdownWrite(); // the next line would be read as the rest of this one
    throw SocketError::io(error);
}

/// Sends `line` and a line feed from the byte `sent` on; the error number when that fails, and in `sent` how many bytes
/// had gone out.
int LineSocket::send(std::string_view line, std::size_t& sent)
{
    const bool isLimited = deadline || writeTimeout;
    std::optional<Deadline> limit = deadline; // until when the peer must take something; set once it does not
    while (sent <= line.size()) {
        if (deadline && std::chrono::steady_clock::now() >= *deadline)
            return EAGAIN;
        const ssize_t count = sendPart(descriptor.get(), line, sent, isLimited ? MSG_DONTWAIT : 0);
        if (count >= 0) {
            sent += static_cast<std::size_t>(count);
            limit = deadline;
        } else if (isLimited && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            if (!limit)
                limit = deadlineAfter(*writeTimeout);
            if (!awaitRoom(descriptor.get(), *limit))
                return EAGAIN;
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

void LineSocket::close() noexcept
{
    if (!isClosed.exchange(true))
        ::shutdown(descriptor.get(), SHUT_RDWR);
}

void LineSocket::setReadTimeout(Seconds timeout)
{
    validate(timeout);
    setTimeout(descriptor.get(), SO_RCVTIMEO, timeout);
}

void LineSocket::setWriteTimeout(Seconds timeout)
{
    validate(timeout);
    MutexLock lock(writeMutex);
    writeTimeout = timeout;
}

void LineSocket::shutdownWrite() noexcept { ::shutdown(descriptor.get(), SHUT_WR); }

SocketOpener::SocketOpener(std::string socketPath)
    : path(std::move(socketPath))
{
}

std::shared_ptr<LineChannel> SocketOpener::open(std::chrono::duration<double> timeout)
{
    auto channel = LineSocket::connect(path, timeout);
    channel->setReadTimeout(timeout);
    return channel;
}

} // namespace tarnel
