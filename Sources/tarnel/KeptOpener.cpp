#include "tarnel/KeptOpener.h"
#include <atomic>
#include <utility>

namespace tarnel {

/// Notes when the channel that it stands for is of no more use: after a failure the rest of a line, or the reply to a
/// request that was given up, may still arrive.
class KeptOpener::Channel final : public LineChannel {
public:
    explicit Channel(std::shared_ptr<LineChannel> opened)
        : channel(std::move(opened))
    {
    }

    std::optional<std::string> readLine() override
    {
        auto line = attempt([&] { return channel->readLine(); });
        if (!line)
            hasFailed = true;
        return line;
    }
    void writeLine(std::string_view line) override
    {
        attempt([&] { channel->writeLine(line); });
    }
    void close() noexcept override
    {
        hasFailed = true;
        channel->close();
    }
    void setDeadline(std::chrono::steady_clock::time_point deadline) override { channel->setDeadline(deadline); }

    [[nodiscard]] bool isUsable() const { return !hasFailed; }

private:
    template <class Action> auto attempt(Action action) -> decltype(action())
    {
        try {
            return action();
        } catch (...) {
            hasFailed = true;
            throw;
        }
    }

    const std::shared_ptr<LineChannel> channel;
    std::atomic<bool> hasFailed = false; // set once
};

KeptOpener::KeptOpener(std::shared_ptr<LineChannelOpener> other)
    : opener(std::move(other))
{
}

std::shared_ptr<LineChannel> KeptOpener::open(std::chrono::duration<double> timeout)
{
    std::shared_ptr<Channel> broken; // ended without the lock
    {
        MutexLock lock(mutex);
        if (kept && kept->isUsable())
            return kept;
        broken = std::move(kept);
        kept = nullptr;
    }
    broken.reset();
    auto opened = std::make_shared<Channel>(opener->open(timeout));
    MutexLock lock(mutex);
    kept = opened;
    return opened;
}

} // namespace tarnel
