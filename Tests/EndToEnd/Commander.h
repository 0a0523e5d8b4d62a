// Tests/EndToEnd/Commander.h: a client of the daemon that sends commands and keeps what it is told of them.
#pragma once
#include "EndToEnd/DemoWorld.h"
#include "Support/Eventually.h"
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Commands/Command.h"
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tarnel {

/// Subscribes for as long as it lives. Thread-safety: none; it is used by one thread.
class Commander {
public:
    explicit Commander(const std::string& socketPath)
        : client(socketPath)
        , thread([this] {
            client.subscribe({.onOpen =
                                  [this](const std::shared_ptr<DaemonLink>& opened) {
                                      MutexLock lock(mutex);
                                      link = opened;
                                  },
                .onReply =
                    [this](const CommandReply& reply) {
                        MutexLock lock(mutex);
                        replies.push_back(reply);
                    }});
        })
    {
        eventually([&] { return !!opened(); }, patience);
    }
    ~Commander()
    {
        opened()->close();
        thread.join();
    }
    Commander(const Commander&) = delete;
    Commander& operator=(const Commander&) = delete;

    void send(const std::string& id, CommandAction action) { opened()->send({id, std::move(action)}); }

    /// The next reply; one that says so when none comes in time.
    CommandReply next()
    {
        const std::size_t index = seen++;
        eventually([&] { return count() > index; }, patience);
        MutexLock lock(mutex);
        return index < replies.size() ? replies[index] : CommandReply{.id = "no reply in time"};
    }

private:
    std::shared_ptr<DaemonLink> opened()
    {
        MutexLock lock(mutex);
        return link;
    }
    std::size_t count()
    {
        MutexLock lock(mutex);
        return replies.size();
    }

    DaemonClient client;
    std::size_t seen = 0;
    Mutex mutex;
    std::shared_ptr<DaemonLink> link TARNEL_GUARDED_BY(mutex);
    std::vector<CommandReply> replies TARNEL_GUARDED_BY(mutex);
    std::thread thread;
};

/// A reply's id and status in a word.
inline std::string brief(const CommandReply& reply)
{
    return reply.id + " " + std::string(nameOf(reply.status)) + (reply.error ? " " + *reply.error : "");
}

} // namespace tarnel
