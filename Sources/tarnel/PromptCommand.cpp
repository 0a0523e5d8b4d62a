#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Base/UUID.h"
#include "tarnel/CommandCourier.h"
#include "tarnel/Commands.h"
#include "tarnel/ImageFile.h"
#include "tarnel/Output.h"
#include "tarnel/PanePlace.h"
#include "tarnel/SignalWatch.h"
#include "tarnel/StandardInput.h"
#include "tarnel/SubCommand.h"
#include <array>
#include <climits>
#include <memory>
#include <poll.h>

namespace tarnel {

namespace {

struct Options {
    std::string pane;
    std::vector<std::string> words;
    bool now = false;
    std::vector<std::string> images;
};

PromptAction actionOf(const Options& options, const std::string& pane)
{
    PromptAction action{.pane = pane, .mode = options.now ? SendMode::steerNow : SendMode::afterTurn};
    action.text = options.words == std::vector<std::string>{"-"} ? std::string(Text::trimmed(readStandardInput()))
                                                                 : Text::joined(options.words, " ");
    for (const std::string& path : options.images)
        action.images.push_back(ImageFile::read(path));
    if (Text::isBlank(action.text) && action.images.empty())
        throw CommandError(
            ExitStatus::usage, "say what to prompt: TEXT, - to read it from standard input, or --image FILE");
    return action;
}

/// How a prompt fares, as it is told to the user.
class PromptReport {
public:
    PromptReport(const Daemon& to, const std::string& at, bool json)
        : daemon(to)
        , pane(at)
        , asJSON(json)
    {
    }

    /// The exit status once all is said.
    std::optional<ExitStatus> operator()(const CommandReply& reply) const
    {
        if (asJSON)
            Output::printJSON(jsonValue(reply));
        switch (reply.status) {
        case CommandReply::Status::held:
            say("Held: the agent is at work, the prompt follows when its turn ends. Ctrl+c leaves it held.");
            return std::nullopt;
        case CommandReply::Status::queued:
            say("Queued: the agent has the prompt and takes it up in its running turn.");
            return ExitStatus::success;
        case CommandReply::Status::done:
            say("Done: the agent has the prompt.");
            return ExitStatus::success;
        case CommandReply::Status::failed:
            break;
        }
        throw CommandError(ExitStatus::failure,
            "the prompt failed: " + reply.error.value_or("the daemon does not say why")
                + "; see the agents with: tarnel queue");
    }

    std::optional<ExitStatus> operator()(const CommandCourier::Lost& lost) const
    {
        const CommandError error = inWords(daemon, lost.failure);
        if (lost.isFinal)
            throw error;
        Output::note("the daemon at " + daemon.label() + " has gone; trying again, with the same prompt ...");
        return std::nullopt;
    }

    std::optional<ExitStatus> operator()(const CommandCourier::Refused&) const
    {
        throw CommandError(ExitStatus::failure,
            "the daemon at " + daemon.label() + " takes no commands; update tarneld there, or use: tarnel call prompt");
    }

    [[nodiscard]] ExitStatus interrupted(bool isHeld) const
    {
        if (!isHeld)
            throw CommandError(ExitStatus::failure,
                "interrupted before the daemon said what became of the prompt; look with: tarnel screen " + pane);
        Output::note("left held: the daemon gives the prompt to the agent when its turn ends");
        return ExitStatus::success;
    }

private:
    void say(std::string_view text) const
    {
        if (!asJSON)
            Output::print(text);
    }

    const Daemon& daemon;
    const std::string pane;
    const bool asJSON;
};

int millisecondsLeft(const std::optional<std::chrono::steady_clock::time_point>& deadline)
{
    if (!deadline)
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT_MAX));
}

ExitStatus prompt(const CommandLine& line, const Options& options)
{
    const PanePlace place = PanePlace::find(daemonsOf(line), options.pane, line.patience());
    const Command command{.id = randomUUID(), .action = actionOf(options, place.pane)};
    const PromptReport report(place.daemon, place.pane, line.asJSON);
    std::optional<std::chrono::steady_clock::time_point> deadline;
    if (line.timeout)
        deadline =
            std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::nanoseconds>(*line.timeout);
    SignalWatch signals{SIGINT, SIGTERM, SIGHUP};
    CommandCourier courier(place.daemon, command, configuredBackoff());
    for (;;) {
        std::array<pollfd, 2> watched{{{courier.descriptor(), POLLIN, 0}, {signals.descriptor(), POLLIN, 0}}};
        const int ready = ::poll(watched.data(), watched.size(), millisecondsLeft(deadline));
        while (const auto news = courier.take()) {
            if (const auto status = std::visit(report, *news))
                return *status;
        }
        if (signals.take())
            return report.interrupted(courier.isHeld());
        if (ready == 0)
            throw CommandError(ExitStatus::timeout,
                courier.isHeld() ? "the agent is still at work; the daemon keeps the prompt until its turn ends"
                                 : "the daemon did not say in time what became of the prompt; look with: tarnel screen "
                        + place.pane);
    }
}

} // namespace

void addPromptCommand(CLI::App& app, CommandLine& line)
{
    SubCommand command(app, line, "prompt", "Give an agent a prompt, after its turn or into it");
    command.footer(
        "Examples:\n"
        "  tarnel prompt p3 run the tests and fix what fails\n"
        "  tarnel prompt p3 --now \"stop: use the other database\"\n"
        "  git diff | tarnel prompt p3 -\n"
        "  tarnel prompt p3 \"make it look like this\" --image sketch.png\n"
        "While the agent works the daemon holds the prompt; this waits until it is delivered, without a limit\n"
        "unless --timeout sets one. Ctrl+c leaves it held.");
    const auto options = std::make_shared<Options>();
    command.option("pane", options->pane, std::string(paneHelp)).kind("PANE").required();
    command.option("text", options->words, "What to say; several words are one text, - reads standard input")
        .kind("TEXT")
        .allWords();
    command.flag("--now", options->now, "Into the running turn, without waiting for its end");
    command.option("--image", options->images, "A picture to go with it; may be given several times")
        .kind("FILE")
        .oneEach();
    command.run([&line, options] { return prompt(line, *options); });
}

} // namespace tarnel
