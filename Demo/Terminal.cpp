#include "Demo/Terminal.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <optional>
#include <poll.h>
#include <string_view>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace demo {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int tickMilliseconds = 100;
constexpr std::string_view pasteStart = "\x1b[200~";
constexpr std::string_view pasteEnd = "\x1b[201~";

volatile std::sig_atomic_t isAskedToEnd = 0;
extern "C" void askToEnd(int) { isAskedToEnd = 1; }

void write(std::string_view text)
{
    while (!text.empty()) {
        const ssize_t count = ::write(STDOUT_FILENO, text.data(), text.size());
        if (count < 0 && errno != EINTR)
            return; // the terminal is gone; so will we be
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
}

/// The terminal's settings and looks for the length of its life.
class RawTerminal {
public:
    RawTerminal()
    {
        if (::tcgetattr(STDIN_FILENO, &before) == 0) {
            termios settings = before;
            settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
            settings.c_iflag &= ~static_cast<tcflag_t>(ICRNL);
            ::tcsetattr(STDIN_FILENO, TCSANOW, &settings);
            isTerminal = true;
        }
        write("\x1b[?25l\x1b[?2004h");
    }
    ~RawTerminal()
    {
        write("\x1b[?2004l\x1b[?25h\x1b[0m\x1b]0;\a\r\n");
        if (isTerminal)
            ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
    }
    RawTerminal(const RawTerminal&) = delete;
    RawTerminal& operator=(const RawTerminal&) = delete;

private:
    termios before{};
    bool isTerminal = false;
};

winsize terminalSize()
{
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0)
        return {.ws_row = 24, .ws_col = 80, .ws_xpixel = 0, .ws_ypixel = 0};
    return size;
}

/// The last lines that fit, from the top of an empty screen.
std::string drawn(const Screen& screen, std::chrono::milliseconds age)
{
    const winsize size = terminalSize();
    const auto lines = screen.lines(size.ws_col, age);
    const std::size_t first = lines.size() - std::min<std::size_t>(lines.size(), size.ws_row);
    std::string text = "\x1b]0;" + screen.title(age) + "\a\x1b[?7l\x1b[H";
    for (std::size_t i = first; i < lines.size(); ++i)
        text += std::string(i == first ? "" : "\r\n") + (i + 1 == lines.size() ? "\x1b[J" : "\x1b[K") + lines[i]
            + "\x1b[0m";
    return text + "\x1b[?7h";
}

/// Takes the next key off the front of `typed`; nothing when a paste has not yet arrived whole.
std::optional<Key> takeKey(std::string& typed)
{
    const auto take = [&](std::size_t length) {
        std::string text = typed.substr(0, length);
        typed.erase(0, length);
        return text;
    };
    if (typed.starts_with(pasteStart)) {
        const std::size_t end = typed.find(pasteEnd);
        if (end == typed.npos)
            return std::nullopt;
        std::string text = typed.substr(pasteStart.size(), end - pasteStart.size());
        std::replace(text.begin(), text.end(), '\r', '\n');
        take(end + pasteEnd.size());
        return Key{Key::Kind::text, text};
    }
    constexpr std::pair<std::string_view, Key::Kind> known[] = {{"\x1b[A", Key::Kind::up}, {"\x1bOA", Key::Kind::up},
        {"\x1b[B", Key::Kind::down}, {"\x1bOB", Key::Kind::down}, {"\x1b[1;3A", Key::Kind::altUp},
        {"\x1b\r", Key::Kind::lineBreak}, {"\r", Key::Kind::enter}, {"\n", Key::Kind::lineBreak},
        {"\x7f", Key::Kind::backspace}, {"\b", Key::Kind::backspace}, {"\x1b", Key::Kind::escape}};
    for (const auto& [sequence, kind] : known) {
        const bool isOtherSequence = kind == Key::Kind::escape && typed.size() > 1 && typed[1] == '[';
        if (typed.starts_with(sequence) && !isOtherSequence) {
            take(sequence.size());
            return Key{kind};
        }
    }
    if (typed.starts_with("\x1b[")) { // a key that no agent here knows
        std::size_t end = 2;
        while (end < typed.size() && (typed[end] < '@' || typed[end] > '~'))
            ++end;
        take(end + 1);
        return Key{Key::Kind::text};
    }
    std::size_t length = 1;
    while (length < typed.size() && (static_cast<unsigned char>(typed[length]) & 0xC0) == 0x80)
        ++length;
    const std::string text = take(length);
    return static_cast<unsigned char>(text[0]) < 0x20 ? Key{Key::Kind::text} : Key{Key::Kind::text, text};
}

/// What has been typed, waiting a tick at most; nothing when the terminal has gone.
std::optional<std::string> readTyped()
{
    pollfd keyboard{STDIN_FILENO, POLLIN, 0};
    if (::poll(&keyboard, 1, tickMilliseconds) <= 0)
        return std::string();
    std::array<char, 4096> bytes{};
    const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
    if (count > 0)
        return std::string(bytes.data(), static_cast<std::size_t>(count));
    return count < 0 && errno == EINTR ? std::optional<std::string>("") : std::nullopt;
}

} // namespace

void show(std::unique_ptr<Screen> screen)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        std::signal(signal, askToEnd);
    const RawTerminal terminal;
    Clock::time_point shownSince = Clock::now();
    const auto follow = [&](Screen::Next next) {
        if (!next)
            return;
        screen = std::move(next);
        shownSince = Clock::now();
    };
    std::string typed;
    for (std::string shown; !isAskedToEnd;) {
        const auto age = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - shownSince);
        if (std::string now = drawn(*screen, age); now != shown) {
            write(now);
            shown = std::move(now);
        }
        const auto news = readTyped();
        if (!news)
            return;
        typed += *news;
        for (std::optional<Key> key; !typed.empty() && (key = takeKey(typed));)
            follow(screen->key(*key));
        follow(screen->tick(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - shownSince)));
    }
}

} // namespace demo
