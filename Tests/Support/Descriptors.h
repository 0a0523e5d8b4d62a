// Tests/Support/Descriptors.h: both ends of a connection, and all that comes out of a descriptor.
#pragma once
#include "TarnelCore/UnixSocket/LineSocket.h"
#include <array>
#include <cerrno>
#include <memory>
#include <string>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace tarnel {

/// Two connected sockets: the one under test, and the bare other end. Throws std::system_error.
struct SocketPair {
    SocketPair()
    {
        std::array<int, 2> ends{};
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0)
            throw std::system_error(errno, std::generic_category(), "socketpair");
        socket = std::make_shared<LineSocket>(FileDescriptor(ends[0]));
        peer = FileDescriptor(ends[1]);
    }
    /// Speaks lines at the other end too, which is no longer bare then.
    std::shared_ptr<LineSocket> takePeer() { return std::make_shared<LineSocket>(std::move(peer)); }

    std::shared_ptr<LineSocket> socket;
    FileDescriptor peer;
};

/// What can be read until the end.
inline std::string readAll(int descriptor)
{
    std::string text;
    std::array<char, 4096> chunk{};
    for (ssize_t count = 0; (count = ::read(descriptor, chunk.data(), chunk.size())) != 0;) {
        if (count < 0 && errno != EINTR)
            break;
        if (count > 0)
            text.append(chunk.data(), static_cast<std::size_t>(count));
    }
    return text;
}

} // namespace tarnel
