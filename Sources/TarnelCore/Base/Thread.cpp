#include "TarnelCore/Base/Thread.h"
#include <pthread.h>

namespace tarnel {

void setThreadName(const std::string& name)
{
#if defined(__APPLE__)
    constexpr std::size_t room = 63;
    pthread_setname_np(name.substr(name.size() > room ? name.size() - room : 0).c_str());
#else
    constexpr std::size_t room = 15;
    pthread_setname_np(pthread_self(), name.substr(name.size() > room ? name.size() - room : 0).c_str());
#endif
}

} // namespace tarnel
