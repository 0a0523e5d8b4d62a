// Bench/InnerDaemon.h: the daemon within this process.
#pragma once
#include "Bench/Servers.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Attention/AttentionEngine.h"
#include "TarnelCore/Daemon/TarnelDaemon.h"
#include <memory>
#include <string>
#include <thread>

namespace tarnel::bench {

/// The engine over a generated world whose multiplexer is another process; the agents' records stand in a home of
/// their own.
class InnerEngine {
public:
    /// Without panes there is no multiplexer either.
    explicit InnerEngine(std::size_t panes, Scene scene = Scene::mixed, int delayMs = 0)
        : multiplexer(panes == 0 ? nullptr : startMuxle(folder / "muxle.sock", panes, scene, delayMs))
        , subject(
              MuxleClient(std::make_shared<MuxleSocket>(folder / "muxle.sock")), "studio", {}, {.home = folder.path()})
    {
        writeRecords(generatedWorld(panes, scene), folder.path());
    }

    [[nodiscard]] const TemporaryFolder& home() const { return folder; }
    [[nodiscard]] std::string muxleSocket() const { return folder / "muxle.sock"; }
    AttentionEngine& engine() { return subject; }

private:
    TemporaryFolder folder;
    std::unique_ptr<Server> multiplexer;
    AttentionEngine subject;
};

/// A daemon that serves until the end of its life.
class InnerDaemon {
public:
    explicit InnerDaemon(std::size_t panes)
        : inner(panes)
        , daemon(inner.engine(), socket(), {.log = {.sink = [](std::string_view) {}}})
        , server([this] { daemon.run(); })
    {
        awaitListener(socket());
    }
    ~InnerDaemon()
    {
        daemon.stop();
        server.join();
    }
    InnerDaemon(const InnerDaemon&) = delete;
    InnerDaemon& operator=(const InnerDaemon&) = delete;

    [[nodiscard]] std::string socket() const { return inner.home() / "daemon.sock"; }

private:
    InnerEngine inner;
    TarnelDaemon daemon;
    std::thread server;
};

} // namespace tarnel::bench
