// tarnel/KeptOpener.h: one channel for many requests, where opening one is dear.
#pragma once
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/UnixSocket/LineChannel.h"
#include <memory>
#include <string>

namespace tarnel {

/// Hands out the same channel again and again, and opens a new one once it has failed or ended.
/// Thread-safety: `open` from any thread, but only one may use the channel: for calls that are made one after another.
class KeptOpener final : public LineChannelOpener {
public:
    explicit KeptOpener(std::shared_ptr<LineChannelOpener> opener);

    /// Of the channel that is kept, the limit stays the one with which it was opened.
    std::shared_ptr<LineChannel> open(std::chrono::duration<double> timeout) override TARNEL_EXCLUDES(mutex);
    [[nodiscard]] std::string label() const override { return opener->label(); }

private:
    class Channel;

    const std::shared_ptr<LineChannelOpener> opener;
    Mutex mutex;
    std::shared_ptr<Channel> kept TARNEL_GUARDED_BY(mutex); // null before the first
};

} // namespace tarnel
