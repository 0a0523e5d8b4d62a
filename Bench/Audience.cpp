#include "Bench/Audience.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>

namespace tarnel::bench {

namespace {

constexpr std::size_t readBytes = 65'536;

} // namespace

Audience::Audience(std::size_t subscribers)
    : buffer(readBytes, '\0')
{
    for (std::size_t i = 0; i < subscribers; ++i) {
        int ends[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
            throw std::system_error(errno, std::generic_category(), "socketpair");
        FileDescriptor mine(ends[1]);
        auto connection = std::make_shared<Connection>(
            std::make_shared<LineSocket>(FileDescriptor(ends[0])), Connection::Limits{.stall = std::chrono::hours(1)});
        connection->startPushing();
        publisher.subscribe(connection);
        clients.push_back({std::move(connection), std::move(mine)});
    }
}

Audience::~Audience()
{
    for (const Client& client : clients)
        publisher.unsubscribe(client.connection);
}

void Audience::stall(std::size_t index) { clients[index].isStalled = true; }

void Audience::push(const std::shared_ptr<const MachineSnapshot>& snapshot)
{
    publisher.publish(snapshot);
    std::vector<pollfd> reading;
    for (const Client& client : clients) {
        if (!client.isStalled)
            reading.push_back({client.end.get(), POLLIN, 0});
    }
    while (!reading.empty()) {
        if (::poll(reading.data(), reading.size(), -1) < 0)
            throw std::system_error(errno, std::generic_category(), "poll");
        std::erase_if(reading, [&](const pollfd& each) {
            if (each.revents == 0)
                return false;
            const ssize_t got = ::recv(each.fd, buffer.data(), buffer.size(), MSG_DONTWAIT);
            if (got < 0 && errno != EAGAIN)
                throw std::system_error(errno, std::generic_category(), "receive");
            return got > 0 && buffer[static_cast<std::size_t>(got) - 1] == '\n';
        });
    }
}

} // namespace tarnel::bench
