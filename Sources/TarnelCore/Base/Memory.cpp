#include "TarnelCore/Base/Memory.h"
#include <cstdlib> // tells which library this is
#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace tarnel {

void keepLittleMemory() noexcept
{
#if defined(__GLIBC__)
    constexpr int big = 1 << 20;
    ::mallopt(M_MMAP_THRESHOLD, big);
    ::mallopt(M_TRIM_THRESHOLD, big);
    ::mallopt(M_ARENA_MAX, 2); // left to itself, nearly every thread gets a heap of its own
#endif
}

} // namespace tarnel
