#include "tarnel/StandardInput.h"
#include "tarnel/CommandLine.h"
#include <array>
#include <cerrno>
#include <iostream>
#include <system_error>
#include <unistd.h>

namespace tarnel {

std::string readStandardInput()
{
    constexpr std::size_t most = std::size_t{16} << 20;
    std::string text;
    std::array<char, 65536> chunk;
    for (;;) {
        const ssize_t count = ::read(STDIN_FILENO, chunk.data(), chunk.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw std::system_error(errno, std::generic_category(), "cannot read standard input");
        if (count == 0)
            return text;
        text.append(chunk.data(), static_cast<std::size_t>(count));
        if (text.size() > most)
            throw CommandError(ExitStatus::usage, "standard input holds more than 16 MiB; give less");
    }
}

std::optional<std::string> readAnswerLine()
{
    std::string line;
    return std::getline(std::cin, line) ? std::optional(std::move(line)) : std::nullopt;
}

bool canAskUser() { return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1; }

} // namespace tarnel
