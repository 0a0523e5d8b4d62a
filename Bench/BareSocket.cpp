#include "Bench/BareSocket.h"
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

namespace tarnel::bench::BareSocket {

namespace {

constexpr int backlog = 1'024;

[[noreturn]] void fail(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

sockaddr_un addressOf(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

} // namespace

FileDescriptor tryConnect(const std::string& path)
{
    FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = addressOf(path);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return FileDescriptor();
    return socket;
}

FileDescriptor connect(const std::string& path)
{
    FileDescriptor socket = tryConnect(path);
    if (!socket.isOpen())
        fail("connect");
    return socket;
}

FileDescriptor listen(const std::string& path)
{
    FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = addressOf(path);
    ::unlink(path.c_str());
    if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0
        || ::listen(socket.get(), backlog) != 0)
        fail("listen");
    return socket;
}

void send(const FileDescriptor& socket, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0)
            fail("send");
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

std::size_t receiveLine(const FileDescriptor& socket, std::string& buffer)
{
    std::size_t received = 0;
    do {
        if (received == buffer.size())
            buffer.resize(2 * buffer.size() + 65'536);
        const ssize_t got = ::recv(socket.get(), buffer.data() + received, buffer.size() - received, 0);
        if (got < 0)
            fail("receive");
        if (got == 0)
            return 0;
        received += static_cast<std::size_t>(got);
    } while (buffer[received - 1] != '\n');
    return received;
}

std::size_t roundTrip(const std::string& path, std::string_view line, std::string& buffer)
{
    const FileDescriptor socket = connect(path);
    send(socket, line);
    return receiveLine(socket, buffer);
}

} // namespace tarnel::bench::BareSocket
