#include "tarnel/SSHChannel.h"
#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <system_error>
#include <unistd.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using Instant = std::chrono::steady_clock::time_point;

constexpr std::chrono::milliseconds goodbye = 1s; // for the command to end by itself
constexpr std::size_t readChunk = 65536;
constexpr std::size_t complaintBytes = 4096;
constexpr std::size_t mostNoise = std::size_t{1} << 20; // bytes without a line feed before the daemon's first line

std::FILE* temporaryFile()
{
    if (std::FILE* file = std::tmpfile())
        return file;
    throw std::system_error(errno, std::generic_category(), "cannot make a temporary file");
}

Process::Options piped(Process::Options command, std::FILE* errors)
{
    command.pipesInput = true;
    command.pipesOutput = true;
    command.errors = ::fileno(errors);
    return command;
}

std::shared_ptr<LineSocket> writerTo(const FileDescriptor& input)
{
    const int copy = ::dup(input.get());
    if (copy < 0)
        throw std::system_error(errno, std::generic_category(), "cannot talk to the remote shell");
    return std::make_shared<LineSocket>(FileDescriptor(copy));
}

/// The JSON object with which `line` ends, whatever a shell has printed before it without a line feed.
std::optional<std::string> objectIn(std::string_view line)
{
    for (std::size_t start = line.find('{'); start != line.npos; start = line.find('{', start + 1)) {
        const std::string_view rest = line.substr(start);
        if (!rest.starts_with("{\"") && !rest.starts_with("{}"))
            continue;
        if (const auto json = JSON::parseLine(rest); json && json->object())
            return std::string(rest);
    }
    return std::nullopt;
}

int millisecondsUntil(Instant deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT_MAX));
}

} // namespace

SSHChannel::SSHChannel(std::string name, Process::Options command, Seconds patience)
    : host(std::move(name))
    , timeout(patience)
    , complaints(temporaryFile())
    , process(piped(std::move(command), complaints.get()))
    , writer(writerTo(process.input()))
{
}

SSHChannel::~SSHChannel()
{
    close();
    process.terminate(goodbye);
}

std::optional<std::string> SSHChannel::readLine()
{
    do {
        while (auto line = takeLine()) {
            if (hasSpoken)
                return line;
            if (auto object = objectIn(*line)) {
                hasSpoken = true;
                return object;
            }
        }
    } while (receive());
    if (!hasSpoken && !isClosed)
        throw failure();
    return std::nullopt;
}

std::optional<std::string> SSHChannel::takeLine()
{
    const std::size_t feed = unread.find('\n', searched);
    if (feed == unread.npos) {
        searched = unread.size();
        return std::nullopt;
    }
    std::string line = unread.substr(0, feed);
    unread.erase(0, feed + 1);
    searched = 0;
    return line;
}

/// Adds bytes to `unread`; false at the end of the stream.
bool SSHChannel::receive()
{
    const Instant until = deadline.value_or(
        std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(timeout));
    std::array<char, readChunk> chunk;
    for (;;) {
        std::array<pollfd, 2> watched{{{process.output().get(), POLLIN, 0}, {stop.descriptor(), POLLIN, 0}}};
        const int ready = ::poll(watched.data(), watched.size(), millisecondsUntil(until));
        if (ready < 0 && errno != EINTR)
            throw SocketError::io(errno);
        if (isClosed)
            return false;
        if (ready == 0 && std::chrono::steady_clock::now() >= until)
            throw SocketError::io(EAGAIN);
        if (ready <= 0 || watched[0].revents == 0)
            continue;
        const ssize_t count = ::read(process.output().get(), chunk.data(), chunk.size());
        if (count < 0 && errno != EINTR)
            throw SocketError::io(errno);
        if (count >= 0) {
            unread.append(chunk.data(), static_cast<std::size_t>(count));
            if (!hasSpoken && unread.size() > mostNoise)
                throw RemoteError(RemoteError::Reason::ended, host, "its shell prints without end");
            return count > 0;
        }
    }
}

void SSHChannel::writeLine(std::string_view line)
{
    try {
        writer->writeLine(line);
    } catch (const SocketError& error) {
        if (!hasSpoken && !isClosed && error.error == EPIPE)
            throw failure();
        throw;
    }
}

void SSHChannel::close() noexcept
{
    {
        MutexLock lock(mutex);
        isClosed = true;
        stop.raise();
    }
    writer->close();
}

void SSHChannel::setDeadline(Instant newDeadline)
{
    deadline = newDeadline;
    writer->setDeadline(newDeadline);
}

/// Why the command has ended, as far as its exit status and its words tell.
RemoteError SSHChannel::failure() const
{
    const auto status = process.waitFor(goodbye);
    return {status ? RemoteError::reasonFor(*status) : RemoteError::Reason::ended, host, complaint()};
}

/// The last line that was complained; empty when there is none.
std::string SSHChannel::complaint() const
{
    const int descriptor = ::fileno(complaints.get());
    const off_t end = ::lseek(descriptor, 0, SEEK_END);
    std::array<char, complaintBytes> text;
    const ssize_t count =
        ::pread(descriptor, text.data(), text.size(), std::max<off_t>(0, end - static_cast<off_t>(text.size())));
    const std::string_view said(text.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    std::string last;
    for (const std::string_view line : Text::split(said, '\n')) {
        if (std::string plain = TerminalText::plainLine(line); !plain.empty())
            last = std::move(plain);
    }
    return last;
}

} // namespace tarnel
