// Bench/LargeBlocks.h: counts large blocks of memory that are taken from the heap.
#pragma once
#include <cstddef>

namespace tarnel::bench::LargeBlocks {

/// From now on blocks of at least `bytes` are counted, by all threads. Returns the count so far.
long countAbove(std::size_t bytes);
long taken();

} // namespace tarnel::bench::LargeBlocks
