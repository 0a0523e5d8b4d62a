#include "muxle-tmux/ObserveCommand.h"
#include "TarnelCore/Base/FileDescriptor.h"
#include "TarnelCore/Muxle/MuxleClient.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include <array>
#include <cerrno>
#include <poll.h>
#include <string_view>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace tarnel::tmux {

namespace {

constexpr std::string_view closed = R"({"type":"terminal.closed"})";

bool print(std::string_view line, std::FILE* output)
{
    return std::fwrite(line.data(), 1, line.size(), output) == line.size() && std::fputc('\n', output) != EOF
        && std::fflush(output) == 0;
}

JSON::Object parameters(const ObserveOptions& options)
{
    const bool isTmuxName = options.pane.starts_with('%');
    JSON::Object params{{"pane_id", isTmuxName ? "p" + options.pane.substr(1) : options.pane}};
    if (options.columns)
        params["cols"] = *options.columns;
    if (options.rows)
        params["rows"] = *options.rows;
    return params;
}

/// Closes `stream` when whoever reads `output` has gone, of which there is no other sign while the pane is quiet.
class ReaderWatch {
public:
    ReaderWatch(int output, LineChannel& stream)
    {
        std::array<int, 2> ends{};
        if (::pipe(ends.data()) != 0)
            throw std::system_error(errno, std::generic_category(), "pipe");
        stop = FileDescriptor(ends[0]);
        stopping = FileDescriptor(ends[1]);
        thread = std::thread([this, output, &stream] {
            std::array<pollfd, 2> watched{{{output, 0, 0}, {stop.get(), POLLIN, 0}}};
            while (::poll(watched.data(), watched.size(), -1) < 0 && errno == EINTR) { }
            if ((watched[0].revents & (POLLERR | POLLHUP)) != 0)
                stream.close();
        });
    }
    ~ReaderWatch()
    {
        stopping = FileDescriptor();
        thread.join();
    }
    ReaderWatch(const ReaderWatch&) = delete;
    ReaderWatch& operator=(const ReaderWatch&) = delete;

private:
    FileDescriptor stop;
    FileDescriptor stopping; // closing it ends the watch
    std::thread thread;
};

} // namespace

void observePane(const std::string& socketPath, const ObserveOptions& options, std::FILE* output)
{
    const auto socket = LineSocket::connect(socketPath);
    socket->writeJSON(JSON::object({{"id", "observe"}, {"method", "pane.observe"}, {"params", parameters(options)}}));
    const ReaderWatch watch(::fileno(output), *socket);
    try {
        while (const auto line = socket->readLine()) {
            const auto json = JSON::parseLine(*line);
            if (!json)
                continue;
            if (const JSON* error = (*json)["error"])
                throw MuxleError::fromReply(*error);
            const std::string type = stringOf((*json)["type"]).value_or("");
            if (type == "terminal.closed")
                break;
            if (type == "terminal.frame" && !print(*line, output))
                return;
        }
    } catch (const SocketError&) {
        // The serving process has gone: the end, as any other.
    }
    print(closed, output);
}

} // namespace tarnel::tmux
