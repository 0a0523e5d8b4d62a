#include "TarnelCore/Daemon/Connection.h"
#include <algorithm>
#include <utility>

namespace tarnel {

Connection::Connection(std::shared_ptr<LineChannel> connected, Limits given, SerialQueueFactory factory)
    : socket(std::move(connected))
    , limits(given)
    , makeQueue(std::move(factory))
{
}

Connection::~Connection() { close(); }

void Connection::reply(std::string_view line) noexcept
{
    try {
        socket->writeLine(line);
    } catch (const SocketError&) {
        close(); // a line may be half written, so nothing may follow it
    }
}

void Connection::startPushing()
{
    if (writer)
        return;
    socket->setWriteTimeout(limits.stall);
    auto queue = makeQueue("tarneld.push");
    queue->dispatch([this] { writeLines(); });
    writer = std::move(queue); // last: without a thread for it, it can be tried again
}

void Connection::pushSnapshot(Line line, std::uint64_t version)
{
    MutexLock lock(mutex);
    if (isEnding || version < newestVersion)
        return;
    newestVersion = version;
    const auto older =
        std::find_if(waiting.begin(), waiting.end(), [](const Waiting& each) { return each.isSnapshot; });
    if (older == waiting.end())
        push(std::move(line), true);
    else
        older->line = std::move(line);
}

void Connection::pushEvent(Line line)
{
    {
        MutexLock lock(mutex);
        if (isEnding)
            return;
        if (eventBytes + line->size() <= limits.eventBytes)
            return push(std::move(line), false);
    }
    close();
}

/// Sends `line` as far as there is room for it, and queues what is left. The lock is held meanwhile, so that lines go
/// out in the order in which they are pushed.
void Connection::push(Line line, bool isSnapshot)
{
    if (isIdle && waiting.empty()) {
        const auto started = socket->startLine(line);
        if (started == LineChannel::Started::whole)
            return;
        if (started == LineChannel::Started::part) {
            waiting.push_back({nullptr, false});
            return changed.notifyAll();
        }
    }
    if (!isSnapshot)
        eventBytes += line->size();
    waiting.push_back({std::move(line), isSnapshot});
    changed.notifyAll();
}

/// Waits for what the writer is to write; nothing once that is all.
std::optional<Connection::Line> Connection::nextLine()
{
    MutexLock lock(mutex);
    isIdle = true;
    while (waiting.empty() && !isEnding)
        changed.wait(mutex);
    if (isClosed || waiting.empty())
        return std::nullopt;
    isIdle = false;
    Waiting next = std::move(waiting.front());
    waiting.pop_front();
    if (next.line && !next.isSnapshot)
        eventBytes -= next.line->size();
    return std::move(next.line);
}

void Connection::writeLines()
{
    while (const std::optional<Line> line = nextLine()) {
        try {
            *line ? socket->writeLine(**line) : socket->finishLine();
        } catch (const SocketError&) {
            return close();
        }
    }
}

void Connection::finish() noexcept
{
    {
        MutexLock lock(mutex);
        isEnding = true;
    }
    changed.notifyAll();
    writer.reset(); // which waits for it
    close();
}

void Connection::close() noexcept
{
    std::list<Waiting> dropped;
    {
        MutexLock lock(mutex);
        isEnding = true;
        isClosed = true;
        dropped.swap(waiting);
        eventBytes = 0;
    }
    changed.notifyAll();
    socket->close();
}

} // namespace tarnel
