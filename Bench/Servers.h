// Bench/Servers.h: the other ends of what is measured, each a process of its own, made from this program.
#pragma once
#include "Bench/World.h"
#include "TarnelCore/Base/Process.h"
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <sched.h>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel::bench {

/// When the command line asks for one of the servers below, does its work and returns the exit status.
std::optional<int> serveIfAsked(int count, char** values);

/// Reads the 20 records in `folder` and prints how many MiB the process has grown, and how many MiB of text it keeps.
void readRecords(const std::string& folder);

/// Reads one record, as Claude writes them.
void readRecord(const std::string& path);

/// The whole output of this program run with `arguments`.
std::string outputOf(const std::vector<std::string>& arguments);

/// A child process that ends with its owner.
class Server {
public:
    explicit Server(const Process::Options& options)
        : process(options)
    {
    }
    ~Server() { process.terminate(std::chrono::milliseconds(0)); }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

private:
    Process process;
};

/// A bare server: of each connection it reads a line and sends one of `replyBytes`, line feed included; then it ends
/// the connection or, when they are kept, waits for the next line.
std::unique_ptr<Server> startBareServer(const std::string& socket, std::size_t replyBytes, bool isKept);

/// A multiplexer that shows a generated world, each reply after `delayMs`; the delays of requests
/// that come together overlap.
std::unique_ptr<Server> startMuxle(
    const std::string& socket, std::size_t panes, Scene scene = Scene::mixed, int delayMs = 0);

/// The programs that stand beside this one, named on its command line.
struct Programs {
    std::string daemon; ///< tarneld
    std::string hello; ///< A daemon that only listens.
};
Programs& programs();

/// Starts the daemon over the multiplexer at `muxle`, which need not be there, in an empty home.
std::unique_ptr<Server> startDaemon(const std::string& socket, const std::string& muxle, const std::string& home);
std::unique_ptr<Server> startHello(const std::string& socket);

/// The process that listens at `socket`.
pid_t processID(const std::string& socket);

/// Waits until something listens at `socket`. Throws std::runtime_error when nothing does for ten seconds.
void awaitListener(const std::string& socket);

/// Keeps the calling thread, and the children that it starts, on one core.
class OneCore {
public:
    OneCore();
    ~OneCore();
    OneCore(const OneCore&) = delete;
    OneCore& operator=(const OneCore&) = delete;

private:
    cpu_set_t before;
};

} // namespace tarnel::bench
