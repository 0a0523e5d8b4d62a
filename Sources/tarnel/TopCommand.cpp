#include "TarnelCore/Base/Clock.h"
#include "TarnelCore/Base/UUID.h"
#include "TarnelCore/Config/TarnelConfig.h"
#include "tarnel/CommandSender.h"
#include "tarnel/Commands.h"
#include "tarnel/CursesScreen.h"
#include "tarnel/LiveQueue.h"
#include "tarnel/QueueMerge.h"
#include "tarnel/SignalWatch.h"
#include "tarnel/SubCommand.h"
#include "tarnel/Terminal.h"
#include "tarnel/TopScreen.h"
#include "tarnel/TopState.h"
#include "tarnel/WholeQueue.h"
#include <array>
#include <optional>
#include <poll.h>
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

/// The queues of all machines as one; null before the first snapshot.
std::shared_ptr<const std::vector<AttentionItem>> queueOf(const std::vector<TopMachine>& machines, bool oldestFirst)
{
    if (machines.size() == 1) { // shared with the snapshot
        const auto& only = machines.front().snapshot;
        return only ? std::shared_ptr<const std::vector<AttentionItem>>(only, &only->queue) : nullptr;
    }
    std::vector<std::vector<AttentionItem>> queues;
    for (const TopMachine& machine : machines) {
        if (machine.snapshot)
            queues.push_back(machine.snapshot->queue);
    }
    if (queues.empty())
        return nullptr;
    return std::make_shared<const std::vector<AttentionItem>>(QueueMerge::merged(std::move(queues), oldestFirst));
}

/// The view and what it stands between: the daemon, the keyboard and the screen.
class TopView {
public:
    TopView(const std::vector<Daemon>& asked, const Environment& surroundings, bool wantsColor)
        : daemons(asked)
        , environment(surroundings)
        , hasColor(wantsColor)
        , queue(daemons, wantsOldestFirst(), configuredBackoff())
        , senders(daemons.size())
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
        const LiveQueue::View view = queue.take();
        if (view.hasEnded())
            throw inWords(daemons.front(), view.machines.front().failure);
        if (!screen && view.isConnected()) // not before: a first failure is told in the open
            screen.emplace(hasColor);
        TopNews news;
        for (std::size_t i = 0; i < view.machines.size(); ++i) {
            const LiveQueue::Machine& machine = view.machines[i];
            for (const CommandReply& reply : machine.replies)
                senders[i].settle(reply);
            senders[i].follow(machine.link);
            news.machines.push_back({machine.label, senders[i].predicted(machine.snapshot), machine.isConnected});
            news.replies.insert(news.replies.end(), machine.replies.begin(), machine.replies.end());
        }
        if (!screen)
            return;
        news.queue = queueOf(news.machines, view.oldestFirst);
        apply(news);
    }

    void apply(const TopEvent& event)
    {
        TopStep next = step(std::move(state), event);
        state = std::move(next.state);
        hasEnded = hasEnded || next.quits;
        for (const TopOrder& order : next.orders)
            senderFor(order.machine).send(order.command, order.predict);
        if (next.repaints && screen) {
            screen->repaint(state.size);
            shown.reset();
        }
    }

    /// To the daemon of the machine, which is among those that there are: orders to others are not made.
    CommandSender& senderFor(const std::string& machine)
    {
        std::size_t index = 0;
        while (state.machines[index].snapshot == nullptr || state.machines[index].snapshot->machine != machine)
            ++index;
        return senders[index];
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

    const std::vector<Daemon> daemons;
    const Environment& environment;
    const bool hasColor;
    TopState state;
    bool hasEnded = false;
    SignalWatch signals{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGCONT, SIGWINCH};
    LiveQueue queue;
    std::vector<CommandSender> senders; // one for each daemon
    std::optional<CursesScreen> screen;
    std::optional<TopScreen> shown;
};

} // namespace

void addTopCommand(CLI::App& app, CommandLine& line)
{
    SubCommand command(
        app, line, "top", "Show the queue and each agent's card over the whole screen, to answer from there");
    command.footer("Examples:\n"
                   "  tarnel top\n"
                   "  tarnel top --host local --host studio\n"
                   "Press ? to see the keys.");
    command.run([&line] {
        const Environment environment = processEnvironment();
        const OutputTraits output = OutputTraits::ofStandardOutput(environment);
        if (!output.isTerminal || ::isatty(STDIN_FILENO) != 1)
            throw CommandError(ExitStatus::failure, "top needs a terminal; see: tarnel queue, tarnel watch");
        TopView(daemonsOf(line), environment, output.hasColor).run();
        return ExitStatus::success;
    });
}

} // namespace tarnel
