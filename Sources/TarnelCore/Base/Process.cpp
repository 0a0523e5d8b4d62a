#include "TarnelCore/Base/Process.h"
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Base/Thread.h"
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <utility>

namespace tarnel {

/// What the waiting thread and the owner share.
struct Process::Child {
    explicit Child(pid_t started)
        : id(started)
    {
    }

    /// Blocks until the child has ended, and reaps it.
    void await() TARNEL_EXCLUDES(mutex);
    [[nodiscard]] bool hasEnded() TARNEL_EXCLUDES(mutex);
    [[nodiscard]] std::optional<int> waitUntil(std::chrono::steady_clock::time_point deadline) TARNEL_EXCLUDES(mutex);
    /// Sends `signal` to the child's group, unless the child has ended and its number may be another's by now.
    void send(int signal) TARNEL_EXCLUDES(mutex);

    const pid_t id; // of the process group too
    Mutex mutex;
    Condition ended; // notified when `status` is set
    std::optional<int> status TARNEL_GUARDED_BY(mutex);
    bool isTerminating TARNEL_GUARDED_BY(mutex) = false;
};

void Process::Child::await()
{
    siginfo_t info{};
    while (::waitid(P_PID, static_cast<id_t>(id), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) { }
    {
        MutexLock lock(mutex);
        // Until it is reaped its number stays its own, so nobody else's group is hit.
        if (isTerminating)
            ::kill(-id, SIGKILL);
        int raw = 0;
        while (::waitpid(id, &raw, 0) < 0 && errno == EINTR) { }
        status = WIFSIGNALED(raw) ? 128 + WTERMSIG(raw) : WEXITSTATUS(raw);
    }
    ended.notifyAll();
}

bool Process::Child::hasEnded()
{
    MutexLock lock(mutex);
    return status.has_value();
}

std::optional<int> Process::Child::waitUntil(std::chrono::steady_clock::time_point deadline)
{
    MutexLock lock(mutex);
    while (!status && ended.waitUntil(mutex, deadline)) { }
    return status;
}

void Process::Child::send(int signal)
{
    MutexLock lock(mutex);
    if (status)
        return;
    isTerminating = true;
    ::kill(-id, signal);
}

/// The threads that wait for children whose owner has gone. Each is joined once its child has ended; at the end of this
/// process the others are let go, since a child may outlive us.
class Process::Abandoned {
public:
    static Abandoned& shared()
    {
        static Abandoned threads;
        return threads;
    }

    ~Abandoned()
    {
        sweep();
        MutexLock lock(mutex);
        for (Entry& entry : entries)
            entry.waiter.detach();
    }

    void add(std::shared_ptr<Child> running, std::thread awaiting) TARNEL_EXCLUDES(mutex)
    {
        MutexLock lock(mutex);
        entries.push_back({std::move(running), std::move(awaiting)});
    }

    void sweep() TARNEL_EXCLUDES(mutex)
    {
        MutexLock lock(mutex);
        for (auto entry = entries.begin(); entry != entries.end();) {
            if (!entry->child->hasEnded()) {
                ++entry;
                continue;
            }
            entry->waiter.join(); // it has done all but return
            entry = entries.erase(entry);
        }
    }

private:
    struct Entry {
        std::shared_ptr<Child> child;
        std::thread waiter;
    };

    Mutex mutex;
    std::vector<Entry> entries TARNEL_GUARDED_BY(mutex);
};

namespace {

[[noreturn]] void fail(int error, const Process::Options& options)
{
    // The system does not say whether the executable or the directory is at fault.
    const std::string place = options.workingDirectory ? " in " + *options.workingDirectory : "";
    throw std::system_error(error, std::generic_category(), options.executable + place);
}

void check(int error, const Process::Options& options)
{
    if (error != 0)
        fail(error, options);
}

/// A NUL byte would silently cut the text short on its way to the system.
bool hasNUL(const Process::Options& options)
{
    const auto isCut = [](std::string_view text) { return text.find('\0') != text.npos; };
    return isCut(options.executable) || isCut(options.workingDirectory.value_or(""))
        || std::any_of(options.arguments.begin(), options.arguments.end(), isCut)
        || std::any_of(options.environment.begin(), options.environment.end(),
            [&](const auto& variable) { return isCut(variable.first) || isCut(variable.second); });
}

struct Pipe {
    FileDescriptor reading;
    FileDescriptor writing;
};

Pipe newPipe(const Process::Options& options)
{
    int ends[2];
#if defined(__APPLE__)
    const bool isMade = ::pipe(ends) == 0;
    if (isMade) { // a child started meanwhile inherits nothing all the same: see the flag that children start with
        ::fcntl(ends[0], F_SETFD, FD_CLOEXEC);
        ::fcntl(ends[1], F_SETFD, FD_CLOEXEC);
    }
#else
    const bool isMade = ::pipe2(ends, O_CLOEXEC) == 0;
#endif
    if (!isMade)
        fail(errno, options);
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

Pipe newSocketPair(const Process::Options& options)
{
    int ends[2];
#if defined(__APPLE__)
    const bool isMade = ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0;
    if (isMade) {
        ::fcntl(ends[0], F_SETFD, FD_CLOEXEC);
        ::fcntl(ends[1], F_SETFD, FD_CLOEXEC);
        const int on = 1;
        ::setsockopt(ends[1], SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
    }
#else
    const bool isMade = ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0;
#endif
    if (!isMade)
        fail(errno, options);
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

/// What the child does with descriptors and its directory before it becomes the executable.
class FileActions {
public:
    FileActions(const Process::Options& options, int input, int output)
    {
        check(::posix_spawn_file_actions_init(&actions), options);
        // The output first: its number may be that of the standard input.
        if (output >= 0)
            check(::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO), options);
        if (input >= 0)
            check(::posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO), options);
        else
            check(::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0), options);
        if (options.errors)
            check(::posix_spawn_file_actions_adddup2(&actions, *options.errors, STDERR_FILENO), options);
        if (options.workingDirectory)
            check(::posix_spawn_file_actions_addchdir_np(&actions, options.workingDirectory->c_str()), options);
#if defined(__APPLE__)
        if (output < 0)
            check(::posix_spawn_file_actions_addinherit_np(&actions, STDOUT_FILENO), options);
        if (!options.errors)
            check(::posix_spawn_file_actions_addinherit_np(&actions, STDERR_FILENO), options);
#elif defined(__GLIBC__) && __GLIBC_PREREQ(2, 34)
        // Ours are all closed by themselves; this is for those that we were started with.
        check(::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1), options);
#endif
    }
    ~FileActions() { ::posix_spawn_file_actions_destroy(&actions); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    posix_spawn_file_actions_t actions;
};

class Attributes {
public:
    explicit Attributes(const Process::Options& options)
    {
        check(::posix_spawnattr_init(&attributes), options);
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        sigdelset(&all, SIGKILL);
        sigdelset(&all, SIGSTOP);
        int flags = POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
#if defined(__APPLE__)
        flags |= POSIX_SPAWN_CLOEXEC_DEFAULT;
#endif
        check(::posix_spawnattr_setsigmask(&attributes, &none), options);
        check(::posix_spawnattr_setsigdefault(&attributes, &all), options);
        check(::posix_spawnattr_setpgroup(&attributes, 0), options);
        check(::posix_spawnattr_setflags(&attributes, static_cast<short>(flags)), options);
    }
    ~Attributes() { ::posix_spawnattr_destroy(&attributes); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    posix_spawnattr_t attributes;
};

/// The null-terminated array of the system; valid as long as `texts`.
std::vector<char*> pointers(std::vector<std::string>& texts)
{
    std::vector<char*> result;
    for (std::string& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

pid_t spawn(const Process::Options& options, int input, int output)
{
    std::vector<std::string> words{options.executable};
    words.insert(words.end(), options.arguments.begin(), options.arguments.end());
    std::vector<std::string> variables;
    for (const auto& [name, value] : options.environment)
        variables.push_back(name + "=" + value);
    const FileActions files(options, input, output);
    const Attributes attributes(options);
    pid_t id = 0;
    check(::posix_spawn(&id, options.executable.c_str(), &files.actions, &attributes.attributes, pointers(words).data(),
              pointers(variables).data()),
        options);
    return id;
}

/// Where SIGCHLD is ignored, which a process inherits, the system reaps children itself and forgets how they ended.
void keepExitStatuses()
{
    struct sigaction action { };
    if (::sigaction(SIGCHLD, nullptr, &action) == 0 && action.sa_handler == SIG_IGN)
        ::signal(SIGCHLD, SIG_DFL);
}

} // namespace

Process::Process(const Options& options)
{
    if (hasNUL(options))
        fail(EINVAL, options);
    Abandoned::shared().sweep();
    keepExitStatuses();
    Pipe pipe = options.pipesOutput ? newPipe(options) : Pipe();
    Pipe input = options.pipesInput ? newSocketPair(options) : Pipe();
    const auto started = std::make_shared<Child>(spawn(options, input.reading.get(), pipe.writing.get()));
    try {
        waiter = std::thread([started] {
            setThreadName("child." + std::to_string(started->id));
            started->await();
        });
    } catch (const std::system_error& error) { // no child without someone to reap it
        started->send(SIGKILL);
        started->await();
        fail(error.code().value(), options);
    }
    child = started;
    inputEnd = std::move(input.writing);
    outputEnd = std::move(pipe.reading);
}

Process::~Process()
{
    if (child->hasEnded())
        waiter.join();
    else
        Abandoned::shared().add(child, std::move(waiter));
}

bool Process::isRunning() const { return !child->hasEnded(); }

void Process::terminate(std::chrono::milliseconds grace)
{
    child->send(SIGTERM);
    if (!waitFor(grace))
        child->send(SIGKILL);
}

std::optional<int> Process::waitFor(std::chrono::nanoseconds timeout) const
{
    const std::chrono::nanoseconds most = std::chrono::hours(24 * 365); // beyond it, the sum would overflow
    return child->waitUntil(std::chrono::steady_clock::now() + std::min(timeout, most));
}

} // namespace tarnel
