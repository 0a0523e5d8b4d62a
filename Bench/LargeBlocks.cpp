#include "Bench/LargeBlocks.h"
#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

std::atomic<std::size_t> threshold = std::numeric_limits<std::size_t>::max();
std::atomic<long> count = 0;

} // namespace

void* operator new(std::size_t bytes)
{
    if (bytes >= threshold.load(std::memory_order_relaxed))
        ++count;
    if (void* const block = std::malloc(bytes == 0 ? 1 : bytes))
        return block;
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace tarnel::bench::LargeBlocks {

long countAbove(std::size_t bytes)
{
    threshold = bytes;
    return count;
}

long taken() { return count; }

} // namespace tarnel::bench::LargeBlocks
