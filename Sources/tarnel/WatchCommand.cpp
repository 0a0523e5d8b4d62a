#include "TarnelCore/Base/Clock.h"
#include "tarnel/Commands.h"
#include "tarnel/LiveQueue.h"
#include "tarnel/SignalWatch.h"
#include "tarnel/SubCommand.h"
#include "tarnel/Terminal.h"
#include "tarnel/WatchScreen.h"
#include "tarnel/WatchStream.h"
#include "tarnel/WholeQueue.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <poll.h>
#include <unistd.h>

namespace tarnel {

namespace {

constexpr int redrawMilliseconds = 1000; // durations grow while nothing else happens
constexpr char endOfTransmission = 4; // ctrl+d

/// Whether a key that ends the watch was typed.
bool readsQuit(const pollfd& keyboard)
{
    std::array<char, 64> keys{};
    const ssize_t count = keyboard.revents != 0 ? ::read(keyboard.fd, keys.data(), keys.size()) : 0;
    return std::any_of(keys.begin(), keys.begin() + std::max<ssize_t>(count, 0),
        [](char key) { return key == 'q' || key == 'Q' || key == endOfTransmission; });
}

/// What to throw when no daemon has ever been there.
CommandError noDaemon(const LiveQueue::View& view, const std::vector<Daemon>& daemons)
{
    return inWords(daemons.front(), view.machines.front().failure);
}

ExitStatus watchOnScreen(const std::vector<Daemon>& daemons, const Environment& environment, bool hasColor)
{
    SignalWatch signals{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGWINCH};
    LiveQueue queue(daemons, wantsOldestFirst(), configuredBackoff());
    std::optional<FullScreen> screen; // taken once there is something to show: a first failure is told in the open
    const int keyboard = ::isatty(STDIN_FILENO) == 1 ? STDIN_FILENO : -1;
    for (std::vector<std::string> shown;;) {
        std::array<pollfd, 3> watched{
            {{queue.descriptor(), POLLIN, 0}, {signals.descriptor(), POLLIN, 0}, {keyboard, POLLIN, 0}}};
        ::poll(watched.data(), watched.size(), redrawMilliseconds);
        while (const auto signal = signals.take()) {
            if (*signal == SIGTSTP && screen)
                screen->suspend();
            else if (*signal != SIGWINCH)
                return ExitStatus::success;
            shown.clear();
        }
        if (readsQuit(watched[2]))
            return ExitStatus::success;
        const LiveQueue::View view = queue.take();
        if (view.hasEnded())
            throw noDaemon(view, daemons);
        if (!screen && !view.isConnected())
            continue;
        if (!screen)
            screen.emplace();
        auto lines = watchScreen(view, Clock::system().now(), ScreenSize::ofStandardOutput(environment), hasColor);
        if (lines != shown) {
            screen->draw(lines);
            shown = std::move(lines);
        }
    }
}

ExitStatus watchAsLines(const std::vector<Daemon>& daemons, const Environment& environment, bool asJSON)
{
    SignalWatch signals{SIGINT, SIGTERM, SIGHUP};
    LiveQueue queue(daemons, wantsOldestFirst(), configuredBackoff());
    WatchStream stream(daemons.size() > 1);
    for (std::string lost;;) {
        std::array<pollfd, 2> watched{{{queue.descriptor(), POLLIN, 0}, {signals.descriptor(), POLLIN, 0}}};
        ::poll(watched.data(), watched.size(), -1);
        if (signals.take())
            return ExitStatus::success;
        const LiveQueue::View view = queue.take();
        if (view.hasEnded())
            throw noDaemon(view, daemons);
        if (std::string now = lostDaemons(view); now != lost) {
            if (!now.empty())
                Output::note(now);
            lost = std::move(now);
        }
        if (!view.hasSnapshot())
            continue;
        writeOutput(asJSON
                ? stream.newsAsJSON(view.queue())
                : stream.news(view.queue(), Clock::system().now(), ScreenSize::ofStandardOutput(environment).columns));
    }
}

ExitStatus watch(const CommandLine& line)
{
    const Environment environment = processEnvironment();
    const OutputTraits output = OutputTraits::ofStandardOutput(environment);
    const std::vector<Daemon> daemons = daemonsOf(line);
    if (output.isTerminal && !line.asJSON)
        return watchOnScreen(daemons, environment, output.hasColor);
    return watchAsLines(daemons, environment, line.asJSON);
}

} // namespace

void addWatchCommand(CLI::App& app, CommandLine& line)
{
    SubCommand command(app, line, "watch", "Show the agents that wait for you and follow every change");
    command.footer(
        "Examples:\n"
        "  tarnel watch\n"
        "  tarnel watch --json | while read -r line; do ...; done\n"
        "Ends with q or ctrl+c. Where the output is no terminal, prints a line for each item that is new or\n"
        "has changed.");
    command.run([&line] { return watch(line); });
}

} // namespace tarnel
