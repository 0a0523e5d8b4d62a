// Loaded before a program starts, it sets the program's time of day forwards and back by what a file says in seconds:
// as when someone sets the machine's clock, but for this program only. Elapsed time is left alone, as the system does.
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

/// The shift in seconds, in a file that the test writes to.
const volatile long* openShift()
{
    static const long none = 0;
    const char* path = std::getenv("JUMPING_CLOCK_FILE");
    const int file = path ? ::open(path, O_RDONLY | O_CLOEXEC) : -1;
    void* mapped = file < 0 ? MAP_FAILED : ::mmap(nullptr, sizeof(long), PROT_READ, MAP_SHARED, file, 0);
    if (file >= 0)
        ::close(file);
    return mapped == MAP_FAILED ? &none : static_cast<const volatile long*>(mapped);
}

long shift()
{
    static const volatile long* const seconds = openShift();
    return *seconds;
}

} // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    using Function = int (*)(clockid_t, timespec*);
    static const auto original = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "clock_gettime"));
    const int result = original(clock, time);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE))
        time->tv_sec += shift();
    return result;
}

extern "C" int gettimeofday(timeval* time, void*) noexcept
{
    timespec now{};
    const int result = clock_gettime(CLOCK_REALTIME, &now);
    time->tv_sec = now.tv_sec;
    time->tv_usec = now.tv_nsec / 1'000;
    return result;
}

extern "C" time_t time(time_t* into) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (into)
        *into = now.tv_sec;
    return now.tv_sec;
}
