// Tests/Simulation/Simulation.h: one simulated stretch of the daemon's life.
#pragma once
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace tarnel::sim {

struct Outcome {
    std::optional<std::string> violation; ///< The first thing that happened and must not.
    std::uint64_t turns = 0; ///< How often it was chosen who goes on.
    std::map<std::string, std::size_t> counts; ///< How often each kind of thing happened.
};

/// Some agents, clients and lives of the daemon for about a minute of simulated time; then everything comes to rest,
/// and nothing may be missing. The same seed gives the same every time. Traced, it prints what happens.
Outcome simulate(std::uint64_t seed, bool isTraced = false);

} // namespace tarnel::sim
