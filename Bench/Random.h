// Bench/Random.h: the same random choices on every machine.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string_view>

namespace tarnel::bench {

/// A seeded source of choices. The engine's numbers are fixed by the language; the library's distributions are not, so
/// none is used. Thread-safety: none.
class Random {
public:
    explicit Random(std::uint64_t seed)
        : engine(seed)
    {
    }

    std::uint64_t number() { return engine(); }
    /// 0 to `limit` - 1.
    std::size_t below(std::size_t limit) { return static_cast<std::size_t>(engine() % limit); }
    /// `low` to `high`, both included.
    std::size_t between(std::size_t low, std::size_t high) { return low + below(high - low + 1); }
    bool isOneIn(std::size_t count) { return below(count) == 0; }

    template <std::size_t count> std::string_view any(const std::array<std::string_view, count>& choices)
    {
        return choices[below(count)];
    }

private:
    std::mt19937_64 engine;
};

} // namespace tarnel::bench
