// Bench/Growth.h: how costs grow with panes and with clients, beside what a user would reach for instead.
#pragma once
#include "TarnelCore/JSON/Record.h"
#include <cstdint>
#include <optional>
#include <vector>

namespace tarnel::bench {

/// With so many panes: how long the engine takes for a snapshot, how long until 50 subscribers have one, and the
/// daemon's memory.
struct PaneGrowth {
    std::int64_t panes = 0;
    double snapshotMs = 0;
    double pushMs = 0;
    std::optional<double> redisPushMs; ///< A message of the same size published by redis, where that is installed.
    double residentMiB = 0;

    static constexpr auto fields()
    {
        using T = PaneGrowth;
        return std::tuple{Field{"panes", &T::panes}, Field{"snapshotMs", &T::snapshotMs}, Field{"pushMs", &T::pushMs},
            Field{"redisPushMs", &T::redisPushMs}, Field{"residentMiB", &T::residentMiB}};
    }
};

/// So many clients, each with one small request under way: how many are answered in a second.
struct ClientGrowth {
    std::int64_t clients = 0;
    double requestsPerSecond = 0;
    std::optional<double> redisPerSecond; ///< "PING" answered by redis.

    static constexpr auto fields()
    {
        using T = ClientGrowth;
        return std::tuple{Field{"clients", &T::clients}, Field{"requestsPerSecond", &T::requestsPerSecond},
            Field{"redisPerSecond", &T::redisPerSecond}};
    }
};

/// Reading one record of 4.5 MiB in a process of its own, its start included, in milliseconds of processor time.
struct RecordReaders {
    double tarnelMs = 0;
    std::optional<double> jqMs; ///< Picks the messages out, and does no more.
    std::optional<double> pythonMs; ///< Decodes the lines, and does no more.

    static constexpr auto fields()
    {
        using T = RecordReaders;
        return std::tuple{Field{"tarnelMs", &T::tarnelMs}, Field{"jqMs", &T::jqMs}, Field{"pythonMs", &T::pythonMs}};
    }
};

struct Growth {
    std::vector<PaneGrowth> panes;
    std::vector<ClientGrowth> clients;
    RecordReaders records;

    static constexpr auto fields()
    {
        using T = Growth;
        return std::tuple{Field{"panes", &T::panes}, Field{"clients", &T::clients}, Field{"records", &T::records}};
    }
};

/// Measures with 1 to 1,000 panes and 1 to 256 clients. Takes about a minute.
Growth measureGrowth();

} // namespace tarnel::bench
