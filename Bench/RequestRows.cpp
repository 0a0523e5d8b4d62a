// Requests to the daemon: rows 5, 6 and 18.
#include "Bench/BareSocket.h"
#include "Bench/InnerDaemon.h"
#include "Bench/Servers.h"
#include "Bench/SystemCalls.h"
#include "Bench/Timing.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Bench/Bench.h"
#include <memory>
#include <stdexcept>

namespace tarnel::bench {

namespace {

constexpr std::size_t messageBytes = 100;
constexpr int requestsAtOnce = 300;

/// A small request that the daemon answers by itself. All other methods ask the multiplexer or look for files, which
/// would be measured in the place of the daemon: that there is no such method costs only what every request costs.
const std::string request = R"({"id":1,"method":"none"})"
                            "\n";

struct Ends {
    OneCore pinned; // first: the servers are started on this core too
    TemporaryFolder folder;
    std::string bare = folder / "bare.sock";
    std::string daemon = folder / "daemon.sock";
    std::unique_ptr<Server> bareServer;
    std::unique_ptr<Server> daemonServer = startDaemon(daemon, folder / "none.sock", folder / "home");
    std::string line = std::string(messageBytes - 1, 'x') + "\n";
    std::string buffer;

    Ends()
        : bareServer(startBareServer(bare, messageBytes, true))
    {
        awaitListener(daemon);
        if (BareSocket::roundTrip(daemon, request, buffer) == 0 || buffer.find("none") == buffer.npos)
            throw std::runtime_error("the daemon does not answer");
    }
};

/// The median of many, in milliseconds: what else runs on the machine delays some of them, but seldom most.
template <class Trip> double medianOf(const Trip& trip) { return Bench::measure(requestsAtOnce, 0, trip).p50(); }

double freshTrips(const std::string& socket, const std::string& line, std::string& buffer)
{
    return medianOf([&] { BareSocket::roundTrip(socket, line, buffer); });
}

double keptTrips(const FileDescriptor& socket, const std::string& line, std::string& buffer)
{
    return medianOf([&] {
        BareSocket::send(socket, line);
        BareSocket::receiveLine(socket, buffer);
    });
}

Measure prepareFresh()
{
    const auto ends = std::make_shared<Ends>();
    return [ends] {
        return inTurns(
            9, [&] { return freshTrips(ends->daemon, request, ends->buffer); },
            [&] { return freshTrips(ends->bare, ends->line, ends->buffer); });
    };
}

Measure prepareKept()
{
    const auto ends = std::make_shared<Ends>();
    return [ends] {
        const FileDescriptor daemon = BareSocket::connect(ends->daemon);
        const FileDescriptor bare = BareSocket::connect(ends->bare);
        return inTurns(
            9, [&] { return keptTrips(daemon, request, ends->buffer); },
            [&] { return keptTrips(bare, ends->line, ends->buffer); });
    };
}

/// Counted in a daemon within this process, whose starts can be counted exactly.
Measure prepareStarts()
{
    const auto daemon = std::make_shared<InnerDaemon>(0);
    return [daemon] {
        std::string buffer;
        const auto ask = [&] { BareSocket::roundTrip(daemon->socket(), request, buffer); };
        for (int i = 0; i < 20; ++i)
            ask();
        const long before = startedThreadsAndProcesses();
        for (int i = 0; i < requestsAtOnce; ++i)
            ask();
        return Sample{static_cast<double>(startedThreadsAndProcesses() - before) / requestsAtOnce, 1};
    };
}

} // namespace

std::vector<Row> requestRows()
{
    return {{5, "request", "small request to the daemon, fresh connection, one core", "ms", "E", prepareFresh},
        {6, "kept-request", "small request on a kept connection, against the bare kept loop", "ms", "", prepareKept},
        {18, "starts", "threads or processes started per request in steady state", "starts", "", prepareStarts}};
}

} // namespace tarnel::bench
