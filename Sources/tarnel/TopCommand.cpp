#include "tarnel/TopCommand.h"
#include "TarnelCore/Base/Clock.h"
#include "TarnelCore/Base/UUID.h"
#include "TarnelCore/Config/TarnelConfig.h"
#include "tarnel/CommandSender.h"
#include "tarnel/CursesScreen.h"
#include "tarnel/LiveQueue.h"
#include "tarnel/SignalWatch.h"
#include "tarnel/Terminal.h"
#include "tarnel/TopScreen.h"
#include "tarnel/TopState.h"
#include <array>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace tarnel {

namespace {

constexpr int redrawMilliseconds = 1000; // durations grow while nothing else happens

TopSettings settings()
{
    const TarnelConfig config(TarnelConfig::defaultPath());
    return {.commandPrefix = randomUUID() + "-",
        .quickReplies = config.list("quick_replies.finished"),
        .advancesAfterAnswer = config.boolean("attention.auto_advance")};
}

/// The view and what it stands between: the daemon, the keyboard and the screen.
class TopView {
public:
    TopView(const std::string& daemonSocket, const Environment& surroundings, bool wantsColor)
        : socketPath(daemonSocket)
        , environment(surroundings)
        , hasColor(wantsColor)
        , queue(socketPath, LiveQueue::OnLoss::reconnect)
    {
        state.settings = settings();
        state.size = ScreenSize::ofStandardOutput(environment);
    }

    /// Returns when the user, or a signal, ends it. Throws what keeps the daemon from being reached at first.
    void run()
    {
        while (!hasEnded) {
            std::array<pollfd, 3> watched{
                {{queue.descriptor(), POLLIN, 0}, {signals.descriptor(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
            ::poll(watched.data(), watched.size(), redrawMilliseconds);
            takeSignals();
            // Keys come first: they were pressed at what is still shown, not at what has just arrived.
            takeKeys();
            hasEnded = hasEnded || (watched[2].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
            takeNews();
            draw();
        }
    }

private:
    void takeSignals()
    {
        while (const auto signal = signals.take()) {
            if (*signal == SIGTSTP && screen)
                screen->suspend();
            if (*signal == SIGTSTP || *signal == SIGCONT || *signal == SIGWINCH)
                apply(ScreenSize::ofStandardOutput(environment)); // the terminal may be another one by now
            else
                hasEnded = true;
        }
    }

    void takeKeys()
    {
        if (!screen)
            return;
        for (const TopKey& key : screen->keys())
            apply(key);
    }

    void takeNews()
    {
        LiveQueue::View view = queue.take();
        if (view.hasEnded)
            std::rethrow_exception(view.failure);
        if (!screen && view.isConnected) // not before: a first failure is told in the open
            screen.emplace(hasColor);
        for (const CommandReply& reply : view.replies)
            sender.settle(reply);
        sender.follow(view.link);
        if (!screen)
            return;
        TopNews news{.machines = {{socketPath, view.snapshot, view.isConnected}}, .replies = std::move(view.replies)};
        if (view.snapshot)
            news.queue = {view.snapshot, &view.snapshot->queue}; // shared with the snapshot
        apply(news);
    }

    void apply(const TopEvent& event)
    {
        TopStep next = step(std::move(state), event);
        state = std::move(next.state);
        hasEnded = hasEnded || next.quits;
        for (const TopOrder& order : next.orders)
            sender.send(order.command); // there is one machine
        if (next.repaints && screen) {
            screen->repaint(state.size);
            shown.reset();
        }
    }

    void draw()
    {
        if (!screen || hasEnded)
            return;
        TopScreen wanted = TopScreen::of(state, Clock::system().now());
        if (shown == wanted)
            return;
        screen->draw(wanted);
        shown = std::move(wanted);
    }

    const std::string socketPath;
    const Environment& environment;
    const bool hasColor;
    TopState state;
    bool hasEnded = false;
    SignalWatch signals{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGCONT, SIGWINCH};
    LiveQueue queue;
    CommandSender sender;
    std::optional<CursesScreen> screen;
    std::optional<TopScreen> shown;
};

} // namespace

void addTopCommand(CLI::App& app, CommandLine& line)
{
    CLI::App* command = app.add_subcommand("top",
        "Show the queue and the card of each agent over the whole screen, to answer and prompt from there; ? shows the "
        "keys");
    command->callback([&line] {
        line.run = [&line] {
            const Environment environment = processEnvironment();
            const OutputTraits output = OutputTraits::ofStandardOutput(environment);
            if (!output.isTerminal || ::isatty(STDIN_FILENO) != 1)
                throw std::runtime_error("top needs a terminal; see: tarnel queue, tarnel watch");
            TopView(line.socketPath, environment, output.hasColor).run();
            return ExitStatus::success;
        };
    });
}

} // namespace tarnel
