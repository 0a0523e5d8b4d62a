#include "Bench/SystemCalls.h"
#include <atomic>
#include <cerrno>
#include <csignal>
#include <dlfcn.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace {

std::atomic<long> started = 0;

template <class Function> Function* systemsOwn(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// These stand in the way of the system's own, in this program only.

extern "C" int pthread_create(
    pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*), void* argument) noexcept
{
    static auto* const real =
        systemsOwn<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
    ++started;
    return real(thread, attributes, routine, argument);
}

extern "C" int posix_spawn(pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
    const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[])
{
    static auto* const real = systemsOwn<int(pid_t*, const char*, const posix_spawn_file_actions_t*,
        const posix_spawnattr_t*, char* const*, char* const*)>("posix_spawn");
    ++started;
    return real(child, path, actions, attributes, arguments, environment);
}

namespace tarnel::bench {

long startedThreadsAndProcesses() { return started; }

double systemCalls(const std::function<void()>& work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        ::raise(SIGSTOP);
        ::syscall(SYS_getppid); // marks the beginning
        work();
        ::syscall(SYS_getppid); // and the end
        ::_exit(0);
    }
    int status = 0;
    long stops = 0;
    const auto next = [&](auto request) {
        return ::ptrace(request, child, nullptr, nullptr) == 0 && ::waitpid(child, &status, 0) == child
            && WIFSTOPPED(status);
    };
    const bool isTraced = ::waitpid(child, &status, 0) == child && WIFSTOPPED(status)
        && ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD) == 0;
    while (isTraced && next(PTRACE_SYSCALL)) {
        if (WSTOPSIG(status) == (SIGTRAP | 0x80))
            ++stops;
    }
    if (!isTraced)
        throw std::system_error(errno, std::generic_category(), "cannot trace a child process");
    // Each call stops twice; the one that ends the process only once. The rest are the two marks.
    const long calls = (stops - 1) / 2 - 2;
    return static_cast<double>(calls);
}

} // namespace tarnel::bench
