// Tests/Simulation/Random.h: the choices of a simulation, the same for the same seed on every system.
#pragma once
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarnel::sim {

/// A small generator of its own, since the standard's distributions differ between libraries.
/// The algorithm: SplitMix64 (Steele, Lea, Flood, 2014).
class Random {
public:
    explicit Random(std::uint64_t seed)
        : state(seed)
    {
    }

    std::uint64_t next()
    {
        std::uint64_t value = state += 0x9e3779b97f4a7c15;
        value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9;
        value = (value ^ (value >> 27)) * 0x94d049bb133111eb;
        return value ^ (value >> 31);
    }

    /// 0 to `count` - 1; `count` is not 0.
    std::size_t below(std::size_t count) { return next() % count; }
    bool oneIn(std::size_t count) { return below(count) == 0; }

    std::chrono::milliseconds between(std::chrono::milliseconds least, std::chrono::milliseconds most)
    {
        return least + std::chrono::milliseconds(below(static_cast<std::size_t>((most - least).count()) + 1));
    }

    template <class T> const T& of(const std::vector<T>& list) { return list[below(list.size())]; }

private:
    std::uint64_t state;
};

} // namespace tarnel::sim
