#include "Bench/Redis.h"
#include "Bench/BareSocket.h"
#include "TarnelCore/Base/Environment.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Bench/Bench.h"
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>

namespace tarnel::bench {

namespace {

std::string bulk(std::string_view text)
{
    return "$" + std::to_string(text.size()) + "\r\n" + std::string(text) + "\r\n";
}

/// Reads until each of `sockets` has had `bytes` bytes.
void receiveAll(const std::vector<FileDescriptor>& sockets, std::size_t bytes)
{
    std::string buffer(65'536, '\0');
    std::vector<pollfd> reading;
    std::vector<std::size_t> left(sockets.size(), bytes);
    for (const FileDescriptor& socket : sockets)
        reading.push_back({socket.get(), POLLIN, 0});
    for (std::size_t open = sockets.size(); open > 0;) {
        if (::poll(reading.data(), reading.size(), -1) < 0)
            throw std::system_error(errno, std::generic_category(), "poll");
        for (std::size_t i = 0; i < reading.size(); ++i) {
            const ssize_t got =
                reading[i].revents == 0 ? 0 : ::recv(reading[i].fd, buffer.data(), buffer.size(), MSG_DONTWAIT);
            if (got <= 0)
                continue;
            left[i] -= std::min(left[i], static_cast<std::size_t>(got));
            if (left[i] == 0) {
                reading[i].fd = -1;
                --open;
            }
        }
    }
}

} // namespace

std::optional<std::string> installed(std::string_view name)
{
    for (const std::string_view folder :
        Text::splitNonEmpty(nonEmpty(processEnvironment(), "PATH").value_or(""), ':')) {
        std::string path = std::string(folder) + "/" + std::string(name);
        if (Files::isExecutable(path))
            return path;
    }
    return std::nullopt;
}

std::unique_ptr<Redis> Redis::start(const std::string& folder)
{
    const auto program = installed("redis-server");
    return program ? std::unique_ptr<Redis>(new Redis(*program, folder)) : nullptr;
}

Redis::Redis(const std::string& program, const std::string& folder)
    : path(folder + "/redis.sock")
    , server({.executable = program,
          .arguments = {"--port", "0", "--unixsocket", path, "--save", "", "--appendonly", "no", "--logfile",
              folder + "/redis.log", "--dir", folder}})
{
    awaitListener(path);
}

double Redis::push(std::size_t subscribers, std::size_t bytes) const
{
    const std::string head = "*3\r\n" + bulk("message") + bulk("c");
    const std::string payload = bulk(std::string(bytes, 'x'));
    std::vector<FileDescriptor> sockets;
    const std::string confirmation = "*3\r\n" + bulk("subscribe") + bulk("c") + ":1\r\n";
    for (std::size_t i = 0; i < subscribers; ++i) {
        sockets.push_back(BareSocket::connect(path));
        BareSocket::send(sockets.back(), "SUBSCRIBE c\r\n");
    }
    receiveAll(sockets, confirmation.size());
    const FileDescriptor publisher = BareSocket::connect(path);
    const std::string command = "*3\r\n" + bulk("PUBLISH") + bulk("c") + payload;
    return Bench::measure(7, 1, [&] {
        BareSocket::send(publisher, command);
        receiveAll(sockets, head.size() + payload.size());
    }).p50();
}

} // namespace tarnel::bench
