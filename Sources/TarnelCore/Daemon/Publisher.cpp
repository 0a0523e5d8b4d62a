#include "TarnelCore/Daemon/Publisher.h"
#include <algorithm>
#include <utility>

namespace tarnel {

namespace {

Connection::Line eventLine(const MachineSnapshot& snapshot)
{
    JSONWriter writer;
    writer.beginObject();
    writer.key("event");
    writer.write("snapshot"sv);
    writer.key("snapshot");
    encode(writer, snapshot);
    writer.endObject();
    return std::make_shared<const std::string>(writer.take());
}

} // namespace

Publisher::Snapshot Publisher::current() const
{
    MutexLock lock(mutex);
    return latest;
}

bool Publisher::publish(const Snapshot& snapshot)
{
    Snapshot previous;
    std::vector<std::shared_ptr<Connection>> listeners;
    std::uint64_t number = 0;
    {
        MutexLock lock(mutex);
        previous = std::exchange(latest, snapshot);
        number = ++version;
        listeners = subscribers;
    }
    if (previous && snapshot->sameContent(*previous))
        return false;
    if (listeners.empty())
        return true;
    const Connection::Line line = eventLine(*snapshot);
    for (const auto& listener : listeners)
        listener->pushSnapshot(line, number);
    return true;
}

void Publisher::subscribe(const std::shared_ptr<Connection>& connection)
{
    Snapshot first;
    std::uint64_t number = 0;
    {
        MutexLock lock(mutex);
        if (std::find(subscribers.begin(), subscribers.end(), connection) == subscribers.end())
            subscribers.push_back(connection);
        first = latest;
        number = version;
    }
    if (first)
        connection->pushSnapshot(eventLine(*first), number);
}

void Publisher::unsubscribe(const std::shared_ptr<Connection>& connection)
{
    MutexLock lock(mutex);
    std::erase(subscribers, connection);
}

} // namespace tarnel
