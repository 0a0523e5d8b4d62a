// The daemon as a process: its start (14), its memory (15), its processor time (17).
#include "Bench/BareSocket.h"
#include "Bench/InnerDaemon.h"
#include "Bench/MemoryUse.h"
#include "Bench/Servers.h"
#include "Bench/Timing.h"
#include "Support/TemporaryFolder.h"
#include <chrono>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace tarnel::bench {

namespace {

constexpr std::size_t quietPanes = 50;
constexpr std::chrono::seconds settling{5};
constexpr std::chrono::seconds watching{8};
constexpr std::chrono::seconds patience{10};

const std::string request = R"({"id":1,"method":"ping"})"
                            "\n";

/// Asks until there is an answer.
void awaitAnswer(const std::string& socket, std::string& buffer)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (std::chrono::steady_clock::now() < deadline) {
        try {
            if (BareSocket::roundTrip(socket, request, buffer) > 0)
                return;
        } catch (const std::system_error&) {
            std::this_thread::yield(); // it is not there yet
        }
    }
    throw std::runtime_error("no answer at " + socket);
}

struct Folder {
    TemporaryFolder folder;
    std::string daemon = folder / "daemon.sock";
    std::string hello = folder / "hello.sock";
    std::string muxle = folder / "muxle.sock";
    std::string buffer;
    int starts = 0;
};

/// Processor time: on a machine that does other things too, the time by the clock is mostly theirs.
double timeToAnswer(const std::unique_ptr<Server>&, const std::string& socket, std::string& buffer)
{
    awaitAnswer(socket, buffer);
    return processorTime(processID(socket));
}

Measure prepareStart()
{
    const auto setup = std::make_shared<Folder>();
    return [setup] {
        const auto fresh = [&](const std::string& socket) { return socket + std::to_string(++setup->starts); };
        return inTurns(
            9,
            [&] {
                const std::string socket = fresh(setup->daemon);
                return timeToAnswer(startDaemon(socket, setup->muxle, setup->folder.path()), socket, setup->buffer);
            },
            [&] {
                const std::string socket = fresh(setup->hello);
                return timeToAnswer(startHello(socket), socket, setup->buffer);
            });
    };
}

Measure prepareIdleMemory()
{
    struct Setup : Folder {
        std::unique_ptr<Server> daemonServer = startDaemon(daemon, muxle, folder.path());
        std::unique_ptr<Server> helloServer = startHello(hello);
    };
    const auto setup = std::make_shared<Setup>();
    awaitAnswer(setup->daemon, setup->buffer);
    awaitAnswer(setup->hello, setup->buffer);
    return [setup] { return Sample{residentMiB(processID(setup->daemon)), residentMiB(processID(setup->hello))}; };
}

Measure prepareQuiet()
{
    struct Setup {
        InnerEngine world{quietPanes, Scene::quiet}; // for its records and its multiplexer
        std::string socket = world.home() / "daemon.sock";
        std::unique_ptr<Server> server = startDaemon(socket, world.muxleSocket(), world.home().path());
    };
    const auto setup = std::make_shared<Setup>();
    awaitListener(setup->socket);
    std::this_thread::sleep_for(settling); // the first readings are no steady state
    return [setup] {
        const pid_t process = processID(setup->socket);
        const double before = processorTime(process);
        const double time = timed(Clock::wall, [] { std::this_thread::sleep_for(watching); });
        return Sample{(processorTime(process) - before) / (time / 1e3), 1};
    };
}

} // namespace

std::vector<Row> processRows()
{
    return {{14, "start", "start-up to first answer", "ms", "H", prepareStart},
        {15, "idle-memory", "resident memory idle", "MiB", "H", prepareIdleMemory},
        {17, "quiet", "processor time, 50 quiet panes watched", "ms", "ms a second", prepareQuiet}};
}

} // namespace tarnel::bench
