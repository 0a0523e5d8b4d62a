#include "TarnelCore/Base/FileDescriptor.h"
#include <algorithm>
#include <climits>
#include <limits>
#include <sys/resource.h>

namespace tarnel {

void raiseDescriptorLimit() noexcept
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = limit.rlim_max;
#if defined(__APPLE__)
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_cur, OPEN_MAX); // more is refused, whatever the limit says
#endif
    ::setrlimit(RLIMIT_NOFILE, &limit); // when it is refused, the limit stays as it was
}

std::size_t descriptorLimit() noexcept
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return std::numeric_limits<std::size_t>::max();
    return static_cast<std::size_t>(limit.rlim_cur);
}

} // namespace tarnel
