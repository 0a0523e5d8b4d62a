#include "tarnel/PaneFeed.h"
#include "TarnelCore/Base/Thread.h"
#include <utility>

namespace tarnel {

namespace {

constexpr std::size_t mostPending = std::size_t{4} << 20; // bytes that wait for a terminal that is slow

} // namespace

PaneFeed::PaneFeed(DaemonClient& daemon, std::string observed, const ScreenSize& itsSize)
    : client(daemon)
    , pane(std::move(observed))
    , size(itsSize)
{
    worker = std::thread([this] { run(); });
}

PaneFeed::~PaneFeed()
{
    std::shared_ptr<TerminalStream> closing;
    {
        MutexLock lock(mutex);
        isStopping = true;
        closing = open;
    }
    changed.notifyAll();
    if (closing)
        closing->close();
    worker.join();
}

void PaneFeed::observe(const ScreenSize& itsSize)
{
    std::shared_ptr<TerminalStream> closing;
    {
        MutexLock lock(mutex);
        size = itsSize;
        ++wanted;
        news = {};
        pendingBytes = 0;
        closing = std::exchange(open, nullptr);
    }
    changed.notifyAll();
    if (closing)
        closing->close();
}

PaneFeed::News PaneFeed::take()
{
    News taken;
    {
        MutexLock lock(mutex);
        told.lower();
        taken.hasEnded = news.hasEnded;
        taken.failure = news.failure;
        taken.frames = std::exchange(news.frames, {});
        pendingBytes = 0;
    }
    changed.notifyAll();
    return taken;
}

void PaneFeed::run()
{
    setThreadName("tarnel.observe");
    for (;;) {
        Count observation = 0;
        ScreenSize observed;
        {
            MutexLock lock(mutex);
            while (!isStopping && reached == wanted)
                changed.wait(mutex);
            if (isStopping)
                return;
            observation = reached = wanted;
            observed = size;
        }
        std::exception_ptr failure;
        try {
            stream(observation, observed);
        } catch (...) {
            failure = std::current_exception();
        }
        ended(observation, std::move(failure));
    }
}

/// One observation from its start to its end.
void PaneFeed::stream(Count observation, const ScreenSize& observed)
{
    const auto opened =
        client.observe(pane, static_cast<std::int64_t>(observed.columns), static_cast<std::int64_t>(observed.rows));
    {
        MutexLock lock(mutex);
        if (isStopping || wanted != observation)
            return;
        open = opened;
    }
    while (auto frame = opened->next()) {
        MutexLock lock(mutex);
        while (!isStopping && wanted == observation && pendingBytes > mostPending)
            changed.wait(mutex);
        if (isStopping || wanted != observation)
            return;
        pendingBytes += frame->bytes.size();
        news.frames.push_back(*std::move(frame));
        told.raise();
    }
}

void PaneFeed::ended(Count observation, std::exception_ptr failure)
{
    MutexLock lock(mutex);
    if (wanted != observation)
        return;
    open = nullptr;
    news.hasEnded = true;
    news.failure = std::move(failure);
    told.raise();
}

} // namespace tarnel
