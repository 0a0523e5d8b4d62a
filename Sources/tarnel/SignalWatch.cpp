#include "tarnel/SignalWatch.h"
#include <array>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace tarnel {

namespace {

std::atomic<int> sendingEnd = -1; // the handler's only way out; lock-free, so that a handler may read it
static_assert(std::atomic<int>::is_always_lock_free);

extern "C" void passSignalOn(int number)
{
    const int error = errno;
    const auto byte = static_cast<unsigned char>(number);
    // A full pipe holds signals enough already.
    [[maybe_unused]] const ssize_t count = ::write(sendingEnd, &byte, 1);
    errno = error;
}

} // namespace

SignalWatch::SignalWatch(std::initializer_list<int> signals)
{
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot watch for signals");
    receiver = FileDescriptor(ends[0]);
    sender = FileDescriptor(ends[1]);
    for (const int end : ends) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
        ::fcntl(end, F_SETFL, O_NONBLOCK);
    }
    sendingEnd = ends[1];
    for (const int number : signals) {
        struct sigaction action { };
        action.sa_handler = passSignalOn;
        action.sa_flags = SA_RESTART;
        struct sigaction earlier { };
        ::sigaction(number, &action, &earlier);
        before.emplace_back(number, earlier);
    }
}

SignalWatch::~SignalWatch()
{
    for (const auto& [number, earlier] : before)
        ::sigaction(number, &earlier, nullptr);
    sendingEnd = -1;
}

std::optional<int> SignalWatch::take()
{
    unsigned char byte = 0;
    return ::read(receiver.get(), &byte, 1) == 1 ? std::optional<int>(byte) : std::nullopt;
}

} // namespace tarnel
