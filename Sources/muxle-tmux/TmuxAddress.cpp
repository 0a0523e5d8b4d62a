#include "muxle-tmux/TmuxAddress.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include "muxle-tmux/TmuxError.h"
#include <array>
#include <cerrno>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>

namespace tarnel::tmux {

namespace {

/// Where it stands when the search path, which is short for programs started at login, does not lead to it.
constexpr std::array usualPlaces{
    "/opt/homebrew/bin/tmux", "/usr/local/bin/tmux", "/opt/local/bin/tmux", "/usr/bin/tmux"};

std::string findExecutable(const Environment& environment)
{
    const std::string search = nonEmpty(environment, "PATH").value_or("");
    for (const std::string_view directory : Text::splitNonEmpty(search, ':')) {
        std::string candidate = std::string(directory) + "/tmux";
        if (Files::isExecutable(candidate))
            return candidate;
    }
    for (const char* place : usualPlaces) {
        if (Files::isExecutable(place))
            return place;
    }
    throw std::runtime_error("tmux is not installed, or not in $PATH");
}

std::string findSocket(const std::optional<std::string>& socket, const Environment& environment)
{
    if (socket && socket->find('/') != socket->npos)
        return *socket;
    const auto inside = nonEmpty(environment, "TMUX"); // "socket,pid,session"
    if (!socket && inside)
        return inside->substr(0, inside->find(','));
    return nonEmpty(environment, "TMUX_TMPDIR").value_or("/tmp") + "/tmux-" + std::to_string(::getuid()) + "/"
        + socket.value_or("default");
}

} // namespace

TmuxAddress::TmuxAddress(const std::optional<std::string>& socket, const Environment& environment)
    : executable(findExecutable(environment))
    , path(findSocket(socket, environment))
    , variables(environment)
{
    // Inside tmux it would look at these, and find that it runs inside itself.
    variables.erase("TMUX");
    variables.erase("TMUX_PANE");
}

bool TmuxAddress::isServed() const
{
    try {
        LineSocket::connect(path, std::chrono::seconds(1));
        return true;
    } catch (const SocketError& error) {
        return error.error != ENOENT && error.error != ECONNREFUSED; // else it is there, and hangs
    }
}

Process::Options TmuxAddress::command(const std::vector<std::string>& arguments) const
{
    std::vector<std::string> words{"-N", "-u", "-S", path};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return {.executable = executable, .arguments = words, .environment = variables, .pipesOutput = true};
}

std::optional<std::string> TmuxAddress::output(
    const std::vector<std::string>& arguments, std::chrono::milliseconds timeout) const
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    Process tmux(command(arguments));
    std::string text;
    std::array<char, 4096> chunk;
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd readable{tmux.output().get(), POLLIN, 0};
        const int ready = left.count() > 0 ? ::poll(&readable, 1, static_cast<int>(left.count())) : 0;
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0) {
            tmux.terminate(std::chrono::milliseconds(100));
            throw TmuxError::timeout();
        }
        const ssize_t count = ::read(tmux.output().get(), chunk.data(), chunk.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        text.append(chunk.data(), static_cast<std::size_t>(count));
    }
    if (tmux.waitFor(timeout) != 0)
        return std::nullopt;
    return text;
}

} // namespace tarnel::tmux
