#include "TarnelCore/Daemon/PaneObservation.h"
#include "TarnelCore/Base/Process.h"
#include "TarnelCore/Base/Thread.h"
#include "TarnelCore/UnixSocket/SocketError.h"
#include <array>
#include <atomic>
#include <cerrno>
#include <exception>
#include <fcntl.h>
#include <poll.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace tarnel::PaneObservation {

namespace {

/// Returns false when the client cannot be written to.
bool write(LineChannel& client, const JSON& line)
{
    try {
        client.writeJSON(line);
        return true;
    } catch (const SocketError&) {
        return false; // its reader sees the connection's end
    }
}

JSON failure(const JSON& id, const std::string& message)
{
    return JSON::object({{"id", id}, {"error", JSON::object({{"code", "failed"}, {"message", message}})}});
}

Process::Options commandLine(
    const std::string& tool, const Request& request, const MuxleClient& muxle, const Environment& environment)
{
    Process::Options options{.executable = tool,
        .arguments = {"terminal", "session", "observe", request.pane},
        .environment = environment,
        .pipesOutput = true};
    options.environment["MUXLE_SOCKET_PATH"] = muxle.socketPath(); // the daemon's session, whatever it was started in
    auto size = request.columns && request.rows ? std::optional(MuxleClient::PaneSize{*request.columns, *request.rows})
                                                : muxle.paneSize(request.pane);
    if (size) {
        for (const std::string& argument :
            {std::string("--cols"), std::to_string(size->columns), std::string("--rows"), std::to_string(size->rows)})
            options.arguments.push_back(argument);
    }
    return options;
}

/// Passes one line of the tool on. Returns false when the client cannot be written to.
bool relay(std::string_view line, LineChannel& client)
{
    auto event = JSON::parseLine(line);
    JSON::Object* members = event ? event->object() : nullptr;
    if (!members)
        return true;
    (*members)["event"] = stringOf(members->find("type")) == "terminal.closed" ? "closed" : "frame";
    return write(client, *event);
}

/// Ends the relaying from another thread. What the tool has left running may hold its output open for ever, so that its
/// end alone does not do it.
class Stop {
public:
    Stop()
    {
        std::array<int, 2> ends{-1, -1};
        if (::pipe(ends.data()) != 0)
            throw std::system_error(errno, std::generic_category(), "cannot observe");
        reading = FileDescriptor(ends[0]);
        writing = FileDescriptor(ends[1]);
        for (const int end : ends)
            ::fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    void request() { writing = FileDescriptor(); }
    /// Blocks until there is something to read from `output`; false once a stop is requested.
    [[nodiscard]] bool await(int output) const
    {
        std::array<pollfd, 2> ready{{{output, POLLIN, 0}, {reading.get(), POLLIN, 0}}};
        while (::poll(ready.data(), ready.size(), -1) < 0 && errno == EINTR) { }
        return ready[1].revents == 0;
    }

private:
    FileDescriptor reading;
    FileDescriptor writing;
};

/// Passes the tool's lines on until it ends, the client cannot be written to, or a line has no end.
void relayLines(int output, LineChannel& client, const Stop& stop)
{
    std::array<char, 65536> chunk;
    std::string buffer;
    while (stop.await(output)) {
        const ssize_t count = ::read(output, chunk.data(), chunk.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return;
        std::size_t searched = buffer.size();
        buffer.append(chunk.data(), static_cast<std::size_t>(count));
        std::size_t start = 0;
        for (std::size_t feed = 0; (feed = buffer.find('\n', searched)) != buffer.npos; searched = start) {
            if (!relay(std::string_view(buffer).substr(start, feed - start), client))
                return;
            start = feed + 1;
        }
        buffer.erase(0, start);
        if (buffer.size() > longestLine)
            return;
    }
}

/// Ends the tool when the observation ends in any way.
struct Ender {
    Process& tool;
    ~Ender() { tool.terminate(); }
};

/// Reads what the client sends, until its connection ends or the stream has ended before it sends a line.
std::optional<std::string> awaitClient(LineChannel& client, const std::atomic<bool>& hasEnded)
{
    try {
        while (auto line = client.readLine()) {
            if (hasEnded)
                return line;
        }
    } catch (const std::exception&) {
        // The same as an end: whoever reads next is told again.
    }
    return std::nullopt;
}

std::optional<std::string> stream(Process& tool, LineChannel& client)
{
    Stop stop;
    std::atomic<bool> hasEnded = false; // set before the client is told, so that what it sends then is not ignored
    std::thread relaying([&] {
        setThreadName("tarneld.observe");
        try {
            relayLines(tool.output().get(), client, stop);
        } catch (const std::exception&) {
            // No memory for a line: the stream ends.
        }
        tool.terminate();
        hasEnded = true;
        write(client, JSON::object({{"event", "closed"}}));
    });
    auto next = awaitClient(client, hasEnded);
    tool.terminate();
    stop.request();
    relaying.join();
    return next;
}

} // namespace

std::optional<std::string> run(const Request& request, const MuxleClient& muxle, const std::string& machine,
    const Environment& environment, LineChannel& client)
{
    const auto executable = MuxleClient::executable(environment);
    if (!executable) {
        write(client, failure(request.id, "muxle is not installed on " + machine));
        return std::nullopt;
    }
    std::optional<Process> tool;
    try {
        tool.emplace(commandLine(*executable, request, muxle, environment));
    } catch (const std::system_error& error) {
        write(client, failure(request.id, std::string("cannot run muxle: ") + error.what()));
        return std::nullopt;
    }
    const Ender ender{*tool};
    const JSON result = JSON::object({{"observing", request.pane}});
    if (!write(client, JSON::object({{"id", request.id}, {"result", result}})))
        return std::nullopt;
    return stream(*tool, client);
}

} // namespace tarnel::PaneObservation
