#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Daemon/DaemonClient.h"
#include "tarnel/Commands.h"
#include "tarnel/FrameFilter.h"
#include "tarnel/PaneFeed.h"
#include "tarnel/PaneKeyboard.h"
#include "tarnel/PanePlace.h"
#include "tarnel/RawScreen.h"
#include "tarnel/SignalWatch.h"
#include "tarnel/SubCommand.h"
#include "tarnel/Terminal.h"
#include "tarnel/TypedKeys.h"
#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <poll.h>
#include <unistd.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

constexpr auto hintTime = 1s; // for which the line that tells the way out stands alone, unless a key is pressed
constexpr auto escapeTime = 50ms; // after which an escape is a key, not the start of one

/// The pane's title; throws when there is no such pane.
std::string titleOf(const PanePlace& place, DaemonClient::Seconds timeout)
{
    const MachineSnapshot snapshot = [&] {
        try {
            return decode<MachineSnapshot>(place.daemon.call("snapshot", {}, timeout));
        } catch (const DecodingError&) {
            throw inWords(place.daemon, std::current_exception());
        }
    }();
    for (const MuxleAgent& agent : snapshot.agents) {
        if (agent.paneID != place.pane)
            continue;
        const std::string title = TerminalText::plainLine(agent.terminalTitle.value_or(""));
        return title.empty() ? place.pane : place.pane + " · " + title;
    }
    throw noSuchPane(place.pane, agentsIn(snapshot));
}

/// A pane on this terminal.
class Attachment {
public:
    Attachment(const PanePlace& shown, DaemonClient::Seconds timeout, const Environment& surroundings)
        : environment(surroundings)
        , place(shown)
        , window(ScreenSize::ofStandardOutput(environment))
        , hint("Attached to " + titleOf(place, timeout) + "; ctrl+] leaves.")
        , observer(place.daemon.opener)
        , feed(observer, pane, window)
        , keyboard(*place.daemon.client, pane)
        , drawsFrom(SteadyClock::now() + hintTime)
    {
    }

    /// Returns what to tell the user behind it.
    std::string run()
    {
        writeOutput(hint + "\r\n");
        {
            RawScreen screen(hint);
            writeOutput(hint);
            while (outcome.empty())
                turn(screen);
        }
        keyboard.drain();
        noteLostKeys();
        if (!lost.empty())
            throw CommandError(ExitStatus::failure, "not all that was typed has reached " + pane + ": " + lost);
        if (failure)
            throw inWords(place.daemon, failure);
        return outcome;
    }

private:
    void turn(RawScreen& screen)
    {
        const bool holdsFrames = SteadyClock::now() < drawsFrom;
        std::array<pollfd, 3> watched{{{holdsFrames ? -1 : feed.descriptor(), POLLIN, 0},
            {signals.descriptor(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
        ::poll(watched.data(), watched.size(), timeout(holdsFrames));
        takeSignals(screen);
        if (watched[2].revents != 0)
            readKeys();
        else if (typed.isWaiting())
            type(typed.flush());
        if (noteLostKeys())
            writeOutput("\a"); // all that can be told on the pane's own screen
        if (SteadyClock::now() >= drawsFrom)
            drawFrames();
    }

    /// Whether there are any since this was asked last.
    bool noteLostKeys()
    {
        auto news = keyboard.takeFailure();
        if (!news)
            return false;
        lost = *std::move(news);
        return true;
    }

    [[nodiscard]] int timeout(bool holdsFrames) const
    {
        if (typed.isWaiting())
            return static_cast<int>(std::chrono::milliseconds(escapeTime).count());
        if (!holdsFrames)
            return -1;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(drawsFrom - SteadyClock::now());
        return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
    }

    void takeSignals(RawScreen& screen)
    {
        while (const auto signal = signals.take()) {
            if (*signal == SIGTSTP)
                screen.suspend();
            else if (*signal == SIGCONT)
                screen.resume();
            else if (*signal != SIGWINCH)
                outcome = "Left " + pane + ".";
            if (outcome.empty())
                observe();
        }
    }

    /// The pane from its first frame, as the window is now.
    void observe()
    {
        window = ScreenSize::ofStandardOutput(environment);
        filter = {};
        feed.observe(window);
    }

    void readKeys()
    {
        std::array<char, 4096> bytes{};
        const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
        if (count > 0)
            type(typed.take({bytes.data(), static_cast<std::size_t>(count)}));
        else
            outcome = "Left " + pane + ".";
    }

    void type(const TypedKeys::Typed& keys)
    {
        drawsFrom = {}; // who types has read the hint
        if (!keys.pieces.empty())
            keyboard.type(keys.pieces);
        if (keys.leaves)
            outcome = "Left " + pane + ".";
    }

    void drawFrames()
    {
        const PaneFeed::News news = feed.take();
        bool isStale = false;
        for (const TerminalFrame& frame : news.frames) {
            if (frame.width > 0 && frame.height > 0)
                shown = {
                    .columns = static_cast<std::size_t>(frame.width), .rows = static_cast<std::size_t>(frame.height)};
            writeOutput(filter.pass(frame.bytes, shown.value_or(window), window));
            isStale = filter.takeSwitch() && !frame.full;
        }
        if (news.hasEnded && outcome.empty()) {
            outcome = "The pane " + pane + " has closed.";
            failure = news.failure;
        } else if (isStale) {
            observe();
        }
    }

    const Environment& environment;
    const PanePlace place;
    const std::string& pane = place.pane;
    SignalWatch signals{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGCONT, SIGWINCH};
    ScreenSize window;
    const std::string hint;
    DaemonClient observer; // apart from the calls
    std::optional<ScreenSize> shown; // the pane's size, where it is told
    FrameFilter filter;
    TypedKeys typed;
    PaneFeed feed;
    PaneKeyboard keyboard;
    SteadyClock::time_point drawsFrom;
    std::string outcome; // not empty once it is over
    std::exception_ptr failure;
    std::string lost; // why something that was typed did not arrive; empty when all did
};

} // namespace

void addAttachCommand(CLI::App& app, CommandLine& line)
{
    SubCommand command(app, line, "attach", "Show a pane's live terminal and type into it");
    const auto pane = std::make_shared<std::string>();
    command.option("pane", *pane, std::string(paneHelp)).required().kind("PANE");
    command.footer("Examples:\n"
                   "  tarnel attach p3\n"
                   "  tarnel attach p3 --host studio\n"
                   "Ctrl+] leaves the pane, which goes on by itself.");
    command.run([&line, pane] {
        const Environment environment = processEnvironment();
        if (!OutputTraits::ofStandardOutput(environment).isTerminal || ::isatty(STDIN_FILENO) != 1)
            throw CommandError(ExitStatus::failure, "attach needs a terminal; see: tarnel screen " + *pane);
        const PanePlace place = PanePlace::find(daemonsOf(line), *pane, line.patience());
        writeOutput(Attachment(place, line.patience(), environment).run() + "\n");
        return ExitStatus::success;
    });
}

} // namespace tarnel
