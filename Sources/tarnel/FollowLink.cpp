#include "tarnel/FollowLink.h"
#include "TarnelCore/Base/Thread.h"
#include "TarnelCore/UnixSocket/SocketError.h"
#include <utility>

namespace tarnel {

/// Opens connections and keeps the last one in reach, so that a subscription which the daemon has not yet answered can
/// be ended too.
class FollowLink::Connections final : public LineChannelOpener {
public:
    explicit Connections(std::shared_ptr<LineChannelOpener> other)
        : opener(std::move(other))
    {
    }

    std::shared_ptr<LineChannel> open(std::chrono::duration<double> timeout) override TARNEL_EXCLUDES(mutex)
    {
        auto opened = opener->open(timeout);
        MutexLock lock(mutex);
        if (isClosed)
            throw SocketError::closed();
        last = opened;
        return opened;
    }
    [[nodiscard]] std::string label() const override { return opener->label(); }

    void close() noexcept TARNEL_EXCLUDES(mutex)
    {
        std::shared_ptr<LineChannel> closing;
        {
            MutexLock lock(mutex);
            isClosed = true;
            closing = last.lock();
        }
        if (closing)
            closing->close();
    }

private:
    const std::shared_ptr<LineChannelOpener> opener;
    Mutex mutex;
    std::weak_ptr<LineChannel> last TARNEL_GUARDED_BY(mutex);
    bool isClosed TARNEL_GUARDED_BY(mutex) = false;
};

FollowLink::FollowLink(std::shared_ptr<LineChannelOpener> opener, Listener told, Backoff pauses)
    : listener(std::move(told))
    , connections(std::make_shared<Connections>(std::move(opener)))
    , backoff(pauses)
{
    worker = std::thread([this] { run(); });
}

FollowLink::~FollowLink()
{
    {
        MutexLock lock(mutex);
        isStopping = true;
    }
    stopped.notifyAll();
    connections->close();
    worker.join();
}

void FollowLink::run()
{
    setThreadName("tarnel.follow");
    do {
        const std::exception_ptr failure = follow();
        if (!pause(Backoff::Duration(0)) || !listener.onLost(failure))
            return;
    } while (pause(backoff.next()));
}

/// One subscription from its start to its end, and how it ended.
std::exception_ptr FollowLink::follow()
{
    DaemonClient::Subscriber subscriber = listener.subscriber;
    subscriber.onOpen = [&](const std::shared_ptr<DaemonLink>& link) {
        backoff.reset();
        if (listener.subscriber.onOpen)
            listener.subscriber.onOpen(link);
    };
    try {
        DaemonClient(connections).subscribe(subscriber);
        return std::make_exception_ptr(SocketError::closed());
    } catch (...) {
        return std::current_exception();
    }
}

/// Waits; false when the link is to end.
bool FollowLink::pause(Backoff::Duration duration)
{
    const auto deadline = std::chrono::steady_clock::now() + duration;
    MutexLock lock(mutex);
    while (!isStopping) {
        if (!stopped.waitUntil(mutex, deadline))
            return !isStopping;
    }
    return false;
}

} // namespace tarnel
