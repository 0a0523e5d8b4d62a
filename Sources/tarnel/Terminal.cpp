#include "tarnel/Terminal.h"
#include <cerrno>
#include <charconv>
#include <csignal>
#include <sys/ioctl.h>
#include <system_error>
#include <unistd.h>

namespace tarnel {

namespace {

constexpr std::string_view takeScreen = "\x1b[?1049h\x1b[?25l\x1b[?7l\x1b[2J\x1b[H";
constexpr std::string_view giveScreenBack = "\x1b[?7h\x1b[?25h\x1b[?1049l";

/// False when not all of it could be written.
bool writeAll(std::string_view text) noexcept
{
    while (!text.empty()) {
        const ssize_t count = ::write(STDOUT_FILENO, text.data(), text.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return false;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace

OutputTraits OutputTraits::ofStandardOutput(const Environment& environment)
{
    const bool isTerminal = ::isatty(STDOUT_FILENO) == 1 && nonEmpty(environment, "TERM").value_or("dumb") != "dumb";
    return {.isTerminal = isTerminal, .hasColor = isTerminal && !nonEmpty(environment, "NO_COLOR")};
}

ScreenSize ScreenSize::ofStandardOutput(const Environment& environment)
{
    ScreenSize size;
    winsize window{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0 && window.ws_row > 0)
        return {.columns = window.ws_col, .rows = window.ws_row};
    if (const auto columns = nonEmpty(environment, "COLUMNS")) {
        std::size_t value = 0;
        const auto [end, error] = std::from_chars(columns->data(), columns->data() + columns->size(), value);
        if (error == std::errc() && end == columns->data() + columns->size() && value > 0)
            size.columns = value;
    }
    return size;
}

void writeOutput(std::string_view text)
{
    if (!writeAll(text))
        throw std::system_error(errno, std::generic_category(), "cannot write the output");
}

FullScreen::FullScreen()
{
    termios settings{};
    if (::tcgetattr(STDIN_FILENO, &settings) == 0)
        before = settings;
    enter();
}

FullScreen::~FullScreen() { leave(); }

void FullScreen::enter()
{
    if (before) {
        termios settings = *before;
        settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        ::tcsetattr(STDIN_FILENO, TCSANOW, &settings);
    }
    writeOutput(takeScreen);
}

void FullScreen::leave() noexcept
{
    writeAll(giveScreenBack);
    if (before)
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &*before); // what was typed meanwhile is not for the shell
}

void FullScreen::draw(const std::vector<std::string>& lines)
{
    // One write of the whole screen, so that nothing flickers. A line is erased before its text is written, the last
    // one with all below it: behind a text that fills its line the cursor would still stand on the last cell.
    std::string text = "\x1b[H";
    for (std::size_t i = 0; i < lines.size(); ++i)
        text += std::string(i == 0 ? "" : "\r\n") + (i + 1 == lines.size() ? "\x1b[J" : "\x1b[K") + lines[i];
    writeOutput(text);
}

void FullScreen::suspend()
{
    leave();
    ::kill(::getpid(), SIGSTOP);
    enter();
}

} // namespace tarnel
