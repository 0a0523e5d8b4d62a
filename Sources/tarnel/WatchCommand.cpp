#include "tarnel/WatchCommand.h"
#include "TarnelCore/Base/Clock.h"
#include "tarnel/LiveQueue.h"
#include "tarnel/SignalWatch.h"
#include "tarnel/Terminal.h"
#include "tarnel/WatchScreen.h"
#include "tarnel/WatchStream.h"
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

ExitStatus watchOnScreen(const std::string& socketPath, const Environment& environment, bool hasColor)
{
    SignalWatch signals{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGWINCH};
    LiveQueue queue(socketPath, LiveQueue::OnLoss::reconnect);
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
        if (view.hasEnded)
            std::rethrow_exception(view.failure);
        if (!screen && !view.isConnected)
            continue;
        if (!screen)
            screen.emplace();
        auto lines =
            watchScreen(view, socketPath, Clock::system().now(), ScreenSize::ofStandardOutput(environment), hasColor);
        if (lines != shown) {
            screen->draw(lines);
            shown = std::move(lines);
        }
    }
}

ExitStatus watchAsLines(const std::string& socketPath, const Environment& environment)
{
    LiveQueue queue(socketPath, LiveQueue::OnLoss::end);
    WatchStream stream;
    for (;;) {
        pollfd changed{queue.descriptor(), POLLIN, 0};
        ::poll(&changed, 1, -1);
        const LiveQueue::View view = queue.take();
        if (view.snapshot) {
            writeOutput(
                stream.news(*view.snapshot, Clock::system().now(), ScreenSize::ofStandardOutput(environment).columns));
        }
        if (view.hasEnded)
            std::rethrow_exception(view.failure);
    }
}

} // namespace

void addWatchCommand(CLI::App& app, CommandLine& line)
{
    CLI::App* command = app.add_subcommand("watch",
        "Show the agents that wait for you and follow every change; ends with q or ctrl+c. Where the output is no "
        "terminal, prints a line for each item that is new or has changed");
    command->callback([&line] {
        line.run = [&line] {
            const Environment environment = processEnvironment();
            const OutputTraits output = OutputTraits::ofStandardOutput(environment);
            return output.isTerminal ? watchOnScreen(line.socketPath, environment, output.hasColor)
                                     : watchAsLines(line.socketPath, environment);
        };
    });
}

} // namespace tarnel
