#include "tarnel/Wakeup.h"
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tarnel {

Wakeup::Wakeup()
{
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
    receiver = FileDescriptor(ends[0]);
    sender = FileDescriptor(ends[1]);
    for (const int end : ends)
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
}

void Wakeup::raise() noexcept
{
    const char byte = 0;
    if (!std::exchange(isUp, true)) [[maybe_unused]]
        const ssize_t count = ::write(sender.get(), &byte, 1); // the pipe is empty: this cannot block
}

void Wakeup::lower() noexcept
{
    char byte = 0;
    if (std::exchange(isUp, false)) [[maybe_unused]]
        const ssize_t count = ::read(receiver.get(), &byte, 1); // it is there: neither can this
}

} // namespace tarnel
