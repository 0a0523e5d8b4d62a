#include "TarnelCore/Base/Memory.h"
#include <cstdlib> // tells which library this is
#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace tarnel {

void returnFreedMemory() noexcept
{
#if defined(__GLIBC__)
    constexpr int big = 1 << 20;
    ::mallopt(M_MMAP_THRESHOLD, big);
    ::mallopt(M_TRIM_THRESHOLD, big);
#endif
}

} // namespace tarnel
