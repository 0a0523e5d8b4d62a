// Tests/Simulation/Link.h: a connection between a simulated client and the daemon.
#pragma once
#include "Simulation/Scheduler.h"
#include "TarnelCore/UnixSocket/LineChannel.h"
#include "TarnelCore/UnixSocket/SocketError.h"
#include <cerrno>
#include <deque>

namespace tarnel::sim {

/// The daemon's end is the channel; the client's are the functions below. A few lines fit on the way to the client:
/// when it reads slowly, the daemon's writer waits.
class Link final : public LineChannel {
public:
    explicit Link(Scheduler& clock)
        : scheduler(clock)
    {
    }

    std::optional<std::string> readLine() override
    {
        while (toDaemon.empty() && !isClosed) {
            if (!scheduler.waitQuietly(&toDaemon))
                throw SocketError::closed();
        }
        return take(toDaemon);
    }
    void writeLine(std::string_view line) override
    {
        const Clock::Instant stalled = scheduler.elapsed() + std::chrono::seconds(10);
        while (toClient.size() >= capacity && !isClosed) {
            if (!scheduler.waitQuietly(&toClient, stalled))
                throw SocketError::closed();
            if (scheduler.elapsed() >= stalled)
                throw SocketError::io(EAGAIN);
        }
        if (isClosed)
            throw SocketError::closed();
        toClient.emplace_back(line);
        scheduler.wake(&toClient);
    }
    void close() noexcept override
    {
        isClosed = true;
        scheduler.wake(&toClient);
        scheduler.wake(&toDaemon);
    }

    /// What was on the way when the connection ended still arrives.
    std::optional<std::string> receive()
    {
        while (toClient.empty() && !isClosed)
            scheduler.waitFor(&toClient);
        auto line = take(toClient);
        scheduler.wake(&toClient);
        return line;
    }
    void send(std::string line)
    {
        if (isClosed)
            return;
        toDaemon.push_back(std::move(line));
        scheduler.wake(&toDaemon);
    }
    [[nodiscard]] bool isOpen() const { return !isClosed; }

private:
    static constexpr std::size_t capacity = 3;

    static std::optional<std::string> take(std::deque<std::string>& lines)
    {
        if (lines.empty())
            return std::nullopt;
        std::string line = std::move(lines.front());
        lines.pop_front();
        return line;
    }

    Scheduler& scheduler;
    std::deque<std::string> toDaemon;
    std::deque<std::string> toClient;
    bool isClosed = false;
};

} // namespace tarnel::sim
