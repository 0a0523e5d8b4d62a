// Lines from a socket, in whatever pieces they arrive.
#include "Fuzz/Target.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include "TarnelCore/UnixSocket/SocketError.h"
#include <algorithm>
#include <cerrno>
#include <sys/socket.h>
#include <vector>

namespace tarnel::fuzz {

namespace {

constexpr std::size_t mostBytes = 64 << 10; // so that a socket holds them without a reader

std::vector<std::string> linesOf(std::string_view text)
{
    std::vector<std::string> lines;
    for (const std::string_view line : Text::split(text, '\n'))
        lines.emplace_back(line);
    if (lines.back().empty()) // what follows a line feed begins a line only when there is something
        lines.pop_back();
    return lines;
}

} // namespace

void fuzzSocketLines(std::string_view input)
{
    input = input.substr(0, mostBytes);
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0)
        return;
    FileDescriptor peer(ends[0]);
    LineSocket socket{FileDescriptor(ends[1])};
    socket.setReadTimeout(LineSocket::Seconds(10));
    Choices choices(input);
    const std::vector<std::string> expected = linesOf(input);
    const std::size_t limit = choices.below(2) == 0 ? std::string::npos : choices.below(64);
    socket.setLineLimit(limit);

    std::vector<std::string> lines;
    bool isTooLong = false;
    std::size_t sent = 0;
    const auto read = [&] {
        auto line = socket.readLine();
        if (!line)
            return false;
        lines.push_back(*std::move(line));
        return true;
    };
    try {
        while (sent < input.size()) {
            const std::size_t count =
                1 + choices.below(std::min<std::size_t>(input.size() - sent, 1 + choices.below(200)));
            if (::send(peer.get(), input.data() + sent, count, 0) != static_cast<ssize_t>(count))
                return;
            sent += count;
            const auto whole = std::count(input.begin(), input.begin() + static_cast<std::ptrdiff_t>(sent), '\n');
            while (std::ssize(lines) < whole)
                require(read(), "the stream ends before its end");
        }
        peer = FileDescriptor();
        while (read()) { }
    } catch (const SocketError& error) {
        require(error.error == EMSGSIZE, "reading fails");
        isTooLong = true;
    }
    const auto tooLong =
        std::find_if(expected.begin(), expected.end(), [&](const std::string& line) { return line.size() > limit; });
    require(isTooLong == (tooLong != expected.end()), "the limit of a line's length is another one");
    require(lines == std::vector<std::string>(expected.begin(), tooLong), "other lines arrive than were sent");
}

} // namespace tarnel::fuzz
