#include "TarnelCore/Daemon/Connection.h"
#include "TarnelCore/Base/Thread.h"
#include <algorithm>
#include <chrono>

namespace tarnel {

namespace {

constexpr std::chrono::seconds longestStall{10};
constexpr std::size_t mostEventBytes = std::size_t{8} << 20;

} // namespace

Connection::Connection(std::shared_ptr<LineSocket> connected)
    : socket(std::move(connected))
{
}

Connection::~Connection()
{
    close();
    if (writer.joinable())
        writer.join();
}

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
    if (writer.joinable())
        return;
    socket->setWriteTimeout(longestStall);
    writer = std::thread([this] { writeLines(); });
}

void Connection::pushSnapshot(Line line, std::uint64_t version)
{
    MutexLock lock(mutex);
    if (isClosed || version < newestVersion)
        return;
    newestVersion = version;
    const auto older
        = std::find_if(waiting.begin(), waiting.end(), [](const Waiting& each) { return each.isSnapshot; });
    if (older == waiting.end())
        waiting.push_back({std::move(line), true});
    else
        older->line = std::move(line);
    changed.notifyAll();
}

void Connection::pushEvent(Line line)
{
    {
        MutexLock lock(mutex);
        if (isClosed)
            return;
        eventBytes += line->size();
        if (eventBytes <= mostEventBytes) {
            waiting.push_back({std::move(line), false});
            changed.notifyAll();
            return;
        }
    }
    close();
}

Connection::Line Connection::nextLine()
{
    MutexLock lock(mutex);
    while (waiting.empty() && !isClosed)
        changed.wait(mutex);
    if (isClosed)
        return nullptr;
    Waiting next = std::move(waiting.front());
    waiting.pop_front();
    if (!next.isSnapshot)
        eventBytes -= next.line->size();
    return std::move(next.line);
}

void Connection::writeLines()
{
    setThreadName("tarneld.push");
    while (const Line line = nextLine()) {
        try {
            socket->writeLine(*line);
        } catch (const SocketError&) {
            return close();
        }
    }
}

void Connection::close() noexcept
{
    std::deque<Waiting> dropped;
    {
        MutexLock lock(mutex);
        isClosed = true;
        dropped.swap(waiting);
        eventBytes = 0;
    }
    changed.notifyAll();
    socket->close();
}

} // namespace tarnel
