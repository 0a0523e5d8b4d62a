// bench-hello: the least that a daemon can be. It listens and answers each connection with a line.
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

int main(int count, char** values)
{
    if (count != 2)
        return 2;
    const std::string path = values[1];
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ::unlink(path.c_str());
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0
        || ::listen(listener, 32) != 0)
        return 1;
    const std::string reply = "hello\n";
    for (;;) {
        const int client = ::accept(listener, nullptr, nullptr);
        char request[256];
        if (::recv(client, request, sizeof request, 0) > 0)
            ::send(client, reply.data(), reply.size(), MSG_NOSIGNAL);
        ::close(client);
    }
}
