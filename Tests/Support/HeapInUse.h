// Tests/Support/HeapInUse.h: what a program holds of its heap.
#pragma once
#include <cstddef>
#include <cstdlib> // tells which library this is
#include <optional>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace tarnel {

/// The bytes that the whole program has taken and not given back; nothing where the system's allocator is not in use,
/// as under a sanitizer, or does not tell.
inline std::optional<std::size_t> heapInUse()
{
#if defined(__GLIBC__)
    const auto info = ::mallinfo2();
    if (info.arena > 0)
        return info.uordblks + info.hblkhd;
#endif
    return std::nullopt;
}

} // namespace tarnel
