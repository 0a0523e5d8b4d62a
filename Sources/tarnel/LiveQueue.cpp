#include "tarnel/LiveQueue.h"
#include "TarnelCore/Base/Thread.h"
#include "TarnelCore/Daemon/DaemonClient.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tarnel {

namespace {

constexpr std::chrono::seconds retryDelay{1};

} // namespace

/// Opens connections and keeps the last one in reach, so that a subscription which the daemon has not yet answered can
/// be ended too.
class LiveQueue::Connections final : public LineChannelOpener {
public:
    explicit Connections(const std::string& socketPath)
        : sockets(socketPath)
    {
    }

    std::shared_ptr<LineChannel> open(std::chrono::duration<double> timeout) override TARNEL_EXCLUDES(mutex)
    {
        auto opened = sockets.open(timeout);
        MutexLock lock(mutex);
        if (isClosed)
            throw SocketError::closed();
        last = opened;
        return opened;
    }
    [[nodiscard]] std::string label() const override { return sockets.label(); }

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
    SocketOpener sockets;
    Mutex mutex;
    std::weak_ptr<LineChannel> last TARNEL_GUARDED_BY(mutex);
    bool isClosed TARNEL_GUARDED_BY(mutex) = false;
};

LiveQueue::LiveQueue(const std::string& socketPath, OnLoss lossPolicy)
    : onLoss(lossPolicy)
    , connections(std::make_shared<Connections>(socketPath))
{
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot watch the queue");
    receiver = FileDescriptor(ends[0]);
    sender = FileDescriptor(ends[1]);
    for (const int end : ends)
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    worker = std::thread([this] { run(); });
}

LiveQueue::~LiveQueue()
{
    {
        MutexLock lock(mutex);
        isStopping = true;
    }
    stopped.notifyAll();
    connections->close();
    worker.join();
}

LiveQueue::View LiveQueue::take()
{
    MutexLock lock(mutex);
    if (std::exchange(isNews, false)) {
        char byte = 0;
        [[maybe_unused]] const ssize_t count = ::read(receiver.get(), &byte, 1); // it is there: this cannot block
    }
    View taken = view;
    view.replies.clear();
    return taken;
}

/// Makes a change known; `change` gets the view.
template <class Change> void LiveQueue::update(Change change)
{
    MutexLock lock(mutex);
    change(view);
    if (!std::exchange(isNews, true)) {
        const char byte = 0;
        [[maybe_unused]] const ssize_t count = ::write(sender.get(), &byte, 1); // the pipe is empty: neither can this
    }
}

void LiveQueue::run()
{
    setThreadName("tarnel.subscribe");
    for (;;) {
        std::exception_ptr failure;
        try {
            subscribe();
            failure = std::make_exception_ptr(SocketError::closed());
        } catch (...) {
            failure = std::current_exception();
        }
        if (!mayTryAgain(failure))
            return;
    }
}

/// One subscription from its start to its end.
void LiveQueue::subscribe()
{
    DaemonClient client(connections);
    client.subscribe({.onOpen =
                          [this](const std::shared_ptr<DaemonLink>& link) {
                              update([&](View& now) {
                                  now.link = link;
                                  now.isConnected = true;
                                  now.wasConnected = true;
                                  now.failure = nullptr;
                              });
                          },
        .onSnapshot =
            [this](const MachineSnapshot& snapshot) {
                auto newest = std::make_shared<const MachineSnapshot>(snapshot);
                update([&](View& now) { now.snapshot = std::move(newest); });
            },
        .onReply = [this](const CommandReply& reply) { update([&](View& now) { now.replies.push_back(reply); }); }});
}

/// Tells of a failure; returns after a while when another attempt may be made, and false when none may.
bool LiveQueue::mayTryAgain(std::exception_ptr failure)
{
    bool isOver = false;
    update([&](View& now) {
        isOver = onLoss == OnLoss::end || !now.wasConnected;
        now.isConnected = false;
        now.link = nullptr;
        now.failure = std::move(failure);
        now.hasEnded = isOver;
    });
    const auto deadline = std::chrono::steady_clock::now() + retryDelay;
    MutexLock lock(mutex);
    while (!isOver && !isStopping) {
        if (!stopped.waitUntil(mutex, deadline))
            return true;
    }
    return false;
}

} // namespace tarnel
