// Tests/Daemon/ServingDaemon.h: a daemon that serves in the test's own process.
#pragma once
#include "Support/Eventually.h"
#include "Support/ScriptedMuxle.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Attention/AttentionEngine.h"
#include "TarnelCore/Daemon/TarnelDaemon.h"
#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace tarnel {

/// Lines written by any thread.
class Lines {
public:
    void add(std::string_view line)
    {
        MutexLock lock(mutex);
        lines.emplace_back(line);
    }
    std::vector<std::string> with(std::string_view part)
    {
        MutexLock lock(mutex);
        std::vector<std::string> found;
        std::copy_if(lines.begin(), lines.end(), std::back_inserter(found),
            [&](const std::string& line) { return line.find(part) != line.npos; });
        return found;
    }

private:
    Mutex mutex;
    std::vector<std::string> lines TARNEL_GUARDED_BY(mutex);
};

/// The machine's clock, but sleeps take no time: they set it forward instead.
class SkippingClock final : public Clock {
public:
    [[nodiscard]] Timestamp now() const override
    {
        return Clock::system().now() + std::chrono::duration_cast<Timestamp::duration>(skipped());
    }
    [[nodiscard]] Instant elapsed() const override { return Clock::system().elapsed() + skipped(); }
    void sleep(std::chrono::nanoseconds duration) override { nanoseconds += duration.count(); }

private:
    [[nodiscard]] std::chrono::nanoseconds skipped() const { return std::chrono::nanoseconds(nanoseconds.load()); }

    std::atomic<std::int64_t> nanoseconds = 0;
};

/// A daemon that serves in this process.
class ServingDaemon {
public:
    using PauseWatch = std::function<void(std::chrono::nanoseconds)>;

    ServingDaemon(const std::string& muxlePath, const std::string& socketPath, const std::string& home, Lines& lines,
        PauseWatch pauseWatch = {}, Clock& clock = Clock::system())
        : engine(MuxleClient(std::make_shared<MuxleSocket>(muxlePath)), "studio", QueueOptions(),
            {.clock = clock, .home = home})
        , daemon(engine, socketPath,
              {.clock = clock,
                  .log = {[&lines](std::string_view line) { lines.add(line); }},
                  .pauseWatch = std::move(pauseWatch)})
        , thread([this] {
            try {
                daemon.run();
            } catch (const std::exception& error) {
                failure = error.what();
            }
        })
    {
    }
    ~ServingDaemon() { end(); }
    std::string end()
    {
        daemon.stop();
        if (thread.joinable())
            thread.join();
        return failure;
    }
    std::string awaitFailure()
    {
        thread.join();
        return failure;
    }

private:
    AttentionEngine engine;
    TarnelDaemon daemon;
    std::string failure;
    std::thread thread;
};

/// A daemon over a scripted multiplexer, in a folder of its own.
class DaemonTest : public testing::Test {
protected:
    void serve(ServingDaemon::PauseWatch pauseWatch = {}, Clock& clock = Clock::system())
    {
        const std::size_t before = lines.with("listening on").size();
        daemon = std::make_unique<ServingDaemon>(
            muxle.socketPath(), path, folder.path(), lines, std::move(pauseWatch), clock);
        ASSERT_TRUE(eventually([&] { return lines.with("listening on").size() > before; }));
    }
    std::shared_ptr<LineSocket> connect() const
    {
        auto socket = LineSocket::connect(path);
        socket->setReadTimeout(LineSocket::Seconds(10));
        return socket;
    }
    static std::string ask(LineSocket& socket, const std::string& line)
    {
        socket.writeLine(line);
        return socket.readLine().value_or("end of stream");
    }
    std::string ask(const std::string& line) const { return ask(*connect(), line); }

    TemporaryFolder folder;
    ScriptedMuxle muxle{folder / "muxle.sock"};
    const std::string path = folder / "daemon/tarneld.sock";
    Lines lines;
    std::unique_ptr<ServingDaemon> daemon;
};

} // namespace tarnel
