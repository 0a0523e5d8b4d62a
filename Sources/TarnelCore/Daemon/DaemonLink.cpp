#include "TarnelCore/Daemon/DaemonLink.h"
#include "TarnelCore/UnixSocket/SocketError.h"
#include <utility>

namespace tarnel {

DaemonLink::DaemonLink(std::shared_ptr<LineChannel> opened)
    : channel(std::move(opened))
{
}

void DaemonLink::send(const Command& command)
{
    write(JSON::object({{"id", 0}, {"method", "command"}, {"params", jsonValue(command)}}));
}

/// Writes `request` as one line.
void DaemonLink::write(const JSON& request)
{
    {
        MutexLock lock(mutex);
        if (isClosed)
            throw SocketError::closed();
    }
    // Not under the lock: a daemon that does not read must not keep `close` waiting, which is what ends such a write.
    channel->writeJSON(request);
}

void DaemonLink::close() noexcept
{
    {
        MutexLock lock(mutex);
        if (isClosed)
            return;
        isClosed = true;
    }
    channel->close();
}

} // namespace tarnel
