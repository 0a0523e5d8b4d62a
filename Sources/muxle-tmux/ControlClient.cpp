#include "muxle-tmux/ControlClient.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Base/Thread.h"
#include "muxle-tmux/TmuxError.h"
#include <array>
#include <cerrno>
#include <exception>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace tarnel::tmux {

namespace {

constexpr std::size_t mostWaiting = 4096; // commands; tmux has long stopped answering by then

#if defined(__APPLE__)
constexpr int sendFlags = 0; // the socket itself is told to raise no signal
#else
constexpr int sendFlags = MSG_NOSIGNAL;
#endif

Process::Options attaching(const TmuxAddress& address, const std::string& session, const std::string& flags)
{
    // -E: the session's environment stays as its user's last client made it.
    Process::Options options = address.command({"-C", "attach-session", "-E", "-f", flags, "-t", session});
    options.pipesInput = true;
    return options;
}

TmuxError disconnected() { return TmuxError::unavailable("the connection to tmux has ended"); }

} // namespace

ControlClient::ControlClient(
    const TmuxAddress& address, const std::string& session, const std::string& flags, Handlers given)
    : handlers(std::move(given))
    , process(attaching(address, session, flags))
{
    timeval patience{};
    patience.tv_sec = 5; // a client that takes no input for so long is hung
    ::setsockopt(process.input().get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    reader = std::thread([this] { read(); });
}

ControlClient::~ControlClient()
{
    ::shutdown(process.input().get(), SHUT_RDWR); // it detaches when its input ends
    using namespace std::chrono_literals;
    if (!process.waitFor(500ms))
        process.terminate(500ms);
    reader.join();
}

void ControlClient::write(std::string_view line)
{
    while (!line.empty()) {
        const ssize_t sent = ::send(process.input().get(), line.data(), line.size(), sendFlags);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent < 0) {
            ::shutdown(process.input().get(), SHUT_RDWR); // no command may follow half a line
            throw disconnected();
        }
        line.remove_prefix(static_cast<std::size_t>(sent));
    }
}

ControlClient::Pending ControlClient::startAll(const std::vector<std::string>& commands)
{
    const std::string line = Text::joined(commands, " ; ") + "\n";
    Waiting entry{.count = commands.size()};
    Pending pending = entry.promise.get_future();
    MutexLock order(writeMutex);
    {
        MutexLock lock(mutex);
        if (isOver)
            throw disconnected();
        if (waiting.size() >= mostWaiting)
            throw TmuxError::timeout();
        waiting.push_back(std::move(entry));
    }
    write(line);
    return pending;
}

std::vector<std::string> ControlClient::results(Pending& pending, Deadline deadline)
{
    if (pending.wait_until(deadline) != std::future_status::ready)
        throw TmuxError::timeout();
    std::vector<std::string> texts;
    for (ControlReply& reply : pending.get()) {
        if (reply.isError && reply.text.starts_with("can't find"))
            throw TmuxError::notFound(reply.text);
        if (reply.isError)
            throw TmuxError::refused(reply.text);
        texts.push_back(std::move(reply.text));
    }
    return texts;
}

std::string ControlClient::run(const std::string& command, Deadline deadline)
{
    Pending pending = start(command);
    return result(pending, deadline);
}

bool ControlClient::hasEnded() const
{
    MutexLock lock(mutex);
    return isOver;
}

void ControlClient::read()
{
    setThreadName("tmux.control");
    ControlParser parser;
    std::array<char, 65536> chunk;
    std::vector<ControlMessage> messages;
    for (;;) {
        const ssize_t count = ::read(process.output().get(), chunk.data(), chunk.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        parser.feed({chunk.data(), static_cast<std::size_t>(count)}, messages);
        for (const ControlMessage& message : messages)
            handle(message);
        messages.clear();
    }
    end();
}

void ControlClient::handle(const ControlMessage& message)
{
    if (const auto* notification = std::get_if<ControlNotification>(&message)) {
        handlers.notification(*notification);
        return;
    }
    const ControlReply& reply = std::get<ControlReply>(message);
    if (!reply.isOurs)
        return;
    std::optional<Waiting> answered;
    {
        MutexLock lock(mutex);
        if (waiting.empty())
            return;
        Waiting& first = waiting.front();
        first.replies.push_back(reply);
        if (first.replies.size() < first.count && !reply.isError)
            return;
        answered = std::move(first);
        waiting.pop_front();
    }
    answered->promise.set_value(std::move(answered->replies)); // whoever has given up waiting does not see it
    handlers.answered();
}

void ControlClient::end()
{
    std::deque<Waiting> unanswered;
    {
        MutexLock lock(mutex);
        isOver = true;
        unanswered.swap(waiting);
    }
    for (Waiting& each : unanswered)
        each.promise.set_exception(std::make_exception_ptr(disconnected()));
    handlers.ended();
}

} // namespace tarnel::tmux
