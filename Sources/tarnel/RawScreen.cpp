#include "tarnel/RawScreen.h"
#include "tarnel/Terminal.h"
#include <csignal>
#include <exception>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace tarnel {

namespace {

constexpr std::string_view keepTitle = "\x1b[22;0t";
constexpr std::string_view takeScreen = "\x1b[?1049h\x1b[0m\x1b[2J\x1b[H";

// Colours, character set, scrolled lines, origin, wrap, insertion, cursor and key modes, mouse reports, focus reports,
// marked pastes, held updates, reverse screen, keys with their modifiers, the cursor's shape; then the screen and the
// title. A terminal passes over what it does not know.
constexpr std::string_view giveTerminalBack =
    "\x1b[0m\x1b(B\x0f\x1b[r\x1b[?6l\x1b[?7h\x1b[4l\x1b[?1l\x1b>\x1b[?25h\x1b[?9l\x1b[?1000l\x1b[?1002l\x1b[?1003l"
    "\x1b[?1004l\x1b[?1005l\x1b[?1006l\x1b[?1015l\x1b[?2004l\x1b[?2026l\x1b[?5l\x1b[<9u\x1b[>4m\x1b[0 q"
    "\x1b[?1049l\x1b[23;0t";

std::optional<termios> keyboardSettings()
{
    termios settings{};
    return ::tcgetattr(STDIN_FILENO, &settings) == 0 ? std::optional(settings) : std::nullopt;
}

} // namespace

RawScreen::RawScreen(std::string windowTitle)
    : title(std::move(windowTitle))
    , before(keyboardSettings())
    , rescue(giveTerminalBack, before)
{
    enter();
}

RawScreen::~RawScreen() { leave(); }

void RawScreen::enter()
{
    writeOutput(keepTitle);
    resume();
}

void RawScreen::resume()
{
    if (before) {
        termios settings = *before;
        ::cfmakeraw(&settings);
        ::tcsetattr(STDIN_FILENO, TCSANOW, &settings);
    }
    writeOutput(std::string(takeScreen) + "\x1b]2;" + title + "\a");
}

void RawScreen::leave() noexcept
{
    try {
        writeOutput(giveTerminalBack);
    } catch (const std::exception&) {
        // The terminal is gone: there is nothing to give back.
    }
    if (before)
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &*before); // what was typed meanwhile is not for the shell
}

void RawScreen::suspend()
{
    leave();
    ::kill(::getpid(), SIGSTOP);
    enter();
}

} // namespace tarnel
