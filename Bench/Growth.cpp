#include "Bench/Growth.h"
#include "Bench/Audience.h"
#include "Bench/BareSocket.h"
#include "Bench/InnerDaemon.h"
#include "Bench/MemoryUse.h"
#include "Bench/RecordGenerator.h"
#include "Bench/Redis.h"
#include "Bench/Timing.h"
#include "TarnelCore/Bench/Bench.h"
#include <array>
#include <cerrno>
#include <chrono>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <system_error>
#include <thread>

namespace tarnel::bench {

namespace {

constexpr std::array paneCounts{1, 10, 100, 1'000};
constexpr std::array clientCounts{1, 4, 16, 64, 256};
constexpr std::size_t subscriberCount = 50;
constexpr std::chrono::milliseconds rateTime{700};
constexpr std::chrono::seconds firstReadings{3};
constexpr std::size_t recordBytes = 4'718'592;

PaneGrowth measurePanes(int count, const Redis* redis)
{
    const auto panes = static_cast<std::size_t>(count);
    PaneGrowth growth{.panes = count};
    InnerEngine inner(panes);
    growth.snapshotMs = Bench::measure(7, 1, [&] { (void)inner.engine().snapshot(); }).p50();
    {
        Audience audience(subscriberCount);
        const MachineSnapshot base = generatedSnapshot(panes);
        std::int64_t version = 0;
        growth.pushMs = Bench::measure(7, 1, [&] {
            audience.push(std::make_shared<const MachineSnapshot>(changed(base, ++version)));
        }).p50();
        if (redis)
            growth.redisPushMs = redis->push(subscriberCount, encoded(base).size());
    }
    const std::string socket = inner.home() / "daemon.sock";
    const auto daemon = startDaemon(socket, inner.muxleSocket(), inner.home().path());
    awaitListener(socket);
    std::this_thread::sleep_for(firstReadings);
    growth.residentMiB = residentMiB(processID(socket));
    return growth;
}

/// How many lines come back in a second when each of `count` clients sends `line` as soon as it has its answer.
double answersPerSecond(const std::string& socket, const std::string& line, int count)
{
    std::vector<FileDescriptor> clients;
    std::vector<pollfd> waiting;
    for (int i = 0; i < count; ++i) {
        clients.push_back(BareSocket::connect(socket));
        waiting.push_back({clients.back().get(), POLLIN, 0});
        BareSocket::send(clients.back(), line);
    }
    std::array<char, 4'096> buffer;
    std::size_t answers = 0;
    const double start = now(Clock::wall);
    const double end = start + static_cast<double>(rateTime.count());
    while (now(Clock::wall) < end) {
        if (::poll(waiting.data(), waiting.size(), 1'000) < 0)
            throw std::system_error(errno, std::generic_category(), "poll");
        for (std::size_t i = 0; i < waiting.size(); ++i) {
            if (waiting[i].revents == 0)
                continue;
            const ssize_t got = ::recv(waiting[i].fd, buffer.data(), buffer.size(), 0);
            if (got <= 0)
                throw std::system_error(errno, std::generic_category(), "a client was dropped");
            if (buffer[static_cast<std::size_t>(got) - 1] != '\n')
                continue;
            ++answers;
            BareSocket::send(clients[i], line);
        }
    }
    return static_cast<double>(answers) / ((now(Clock::wall) - start) / 1e3);
}

/// Processor time of a child process that reads the record; nothing when its program is not installed.
std::optional<double> readerTime(const std::optional<std::string>& program, const std::vector<std::string>& arguments)
{
    if (!program)
        return std::nullopt;
    const auto used = [] {
        rusage usage{};
        ::getrusage(RUSAGE_CHILDREN, &usage);
        const auto ms = [](const timeval& time) { return double(time.tv_sec) * 1e3 + double(time.tv_usec) / 1e3; };
        return ms(usage.ru_utime) + ms(usage.ru_stime);
    };
    std::vector<double> times;
    for (int i = 0; i < 5; ++i) {
        const double before = used();
        const Process process(
            {.executable = *program, .arguments = arguments, .environment = processEnvironment(), .pipesOutput = true});
        std::array<char, 65'536> buffer;
        while (::read(process.output().get(), buffer.data(), buffer.size()) > 0) { }
        (void)process.waitFor(std::chrono::minutes(1));
        times.push_back(used() - before);
    }
    return BenchStats(std::move(times)).p50();
}

RecordReaders measureReaders()
{
    const TemporaryFolder folder;
    const std::string record = folder.write("record", RecordGenerator::record(RecordPlace::Kind::claude, recordBytes));
    const std::string loop = "import json,sys\nfor line in open(sys.argv[1]): json.loads(line)";
    return {.tarnelMs = readerTime("/proc/self/exe", {"--read-record", record}).value(),
        .jqMs = readerTime(installed("jq"), {"-c", R"(select(.type=="user" or .type=="assistant")|.message)", record}),
        .pythonMs = readerTime(installed("python3"), {"-c", loop, record})};
}

} // namespace

Growth measureGrowth()
{
    Growth growth;
    const TemporaryFolder folder;
    const std::unique_ptr<Redis> redis = Redis::start(folder.path());
    for (const int count : paneCounts)
        growth.panes.push_back(measurePanes(count, redis.get()));
    const std::string socket = folder / "daemon.sock";
    const auto daemon = startDaemon(socket, folder / "none.sock", folder.path());
    awaitListener(socket);
    for (const int count : clientCounts) {
        ClientGrowth row{.clients = count};
        row.requestsPerSecond = answersPerSecond(socket, "{\"id\":1,\"method\":\"none\"}\n", count);
        if (redis)
            row.redisPerSecond = answersPerSecond(redis->socket(), "PING\r\n", count);
        growth.clients.push_back(row);
    }
    growth.records = measureReaders();
    return growth;
}

} // namespace tarnel::bench
