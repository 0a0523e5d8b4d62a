#include "Support/BareConnection.h"
#include <csignal>
#include <fcntl.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tarnel {

FileDescriptor connectBare(const std::string& path)
{
    FileDescriptor made(::socket(AF_UNIX, SOCK_STREAM, 0));
    ::fcntl(made.get(), F_SETFD, FD_CLOEXEC);
    ::fcntl(made.get(), F_SETFL, O_NONBLOCK);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (::connect(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return {};
    ::fcntl(made.get(), F_SETFL, 0);
    return made;
}

bool isRoot() { return ::geteuid() == 0; }

Welcome welcomeOfOtherUser(const std::string& path)
{
    const auto meet = [&] { // in the child, which may only call the system
        std::signal(SIGPIPE, SIG_IGN); // the connection may have ended before the request is written
        if (::setgid(otherUser) != 0 || ::setuid(otherUser) != 0)
            return Welcome::unknown;
        const FileDescriptor client = connectBare(path);
        if (!client.isOpen())
            return Welcome::cannotConnect;
        constexpr std::string_view request = "{\"id\":1,\"method\":\"ping\"}\n";
        [[maybe_unused]] const auto sent = ::write(client.get(), request.data(), request.size());
        char byte = 0;
        return ::read(client.get(), &byte, 1) == 1 ? Welcome::served : Welcome::turnedAway;
    };
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(static_cast<int>(meet()));
    int status = 0;
    const bool hasEnded = child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status);
    return hasEnded ? static_cast<Welcome>(WEXITSTATUS(status)) : Welcome::unknown;
}

} // namespace tarnel
