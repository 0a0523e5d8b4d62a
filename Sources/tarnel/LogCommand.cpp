#include "tarnel/Commands.h"
#include "tarnel/LogText.h"
#include "tarnel/PanePlace.h"
#include "tarnel/SignalWatch.h"
#include "tarnel/SubCommand.h"
#include <algorithm>
#include <memory>
#include <poll.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds pollInterval = 1s;
constexpr std::int64_t fewestFollowed = 100; // so many entries may come between two looks without one being missed

struct Options {
    std::string pane;
    std::optional<std::int64_t> count;
    bool follows = false;
};

/// The conversation's last entries, newest last.
class Conversation {
public:
    Conversation(const CommandLine& line, const Options& given)
        : place(PanePlace::find(daemonsOf(line), given.pane, line.patience()))
        , timeout(line.patience())
        , asJSON(line.asJSON)
    {
        const TarnelConfig config(TarnelConfig::defaultPath());
        toolSteps = LogText::toolSteps(config.string("conversation.tool_calls"));
        count = given.count.value_or(static_cast<std::int64_t>(config.number("conversation.max_entries")));
    }

    void print()
    {
        const JSON json = ask(count);
        if (asJSON)
            return Output::printJSON(json);
        const auto transcript = decoded(json);
        show(transcript.entries);
        if (transcript.liveReply)
            Output::print(LogText::liveReply(*transcript.liveReply, Style::ofStandardOutput()));
        if (transcript.entries.empty())
            Output::note(
                "there is no record of this agent's conversation; see its screen with: tarnel screen " + place.pane);
    }

    /// Prints what is new; the first time, the last entries.
    void printNews()
    {
        auto transcript = decoded(ask(std::max(count, fewestFollowed)));
        if (seen) {
            show(LogText::added(*seen, transcript.entries));
        } else {
            const auto size = static_cast<std::int64_t>(transcript.entries.size());
            show({transcript.entries.end() - std::min(count, size), transcript.entries.end()});
        }
        seen = std::move(transcript.entries);
    }

private:
    [[nodiscard]] JSON ask(std::int64_t limit) const { return place.call("conversation", {{"limit", limit}}, timeout); }

    [[nodiscard]] Transcript decoded(const JSON& json) const
    {
        try {
            return decode<Transcript>(json);
        } catch (const DecodingError&) {
            throw inWords(place.daemon, std::current_exception());
        }
    }

    void show(const LogText::Entries& entries)
    {
        if (!asJSON)
            return Output::print(LogText::lines(entries, toolSteps, Style::ofStandardOutput(), speaker));
        for (const auto& entry : entries)
            Output::printJSON(jsonValue(entry));
    }

    const PanePlace place;
    const DaemonClient::Seconds timeout;
    const bool asJSON;
    LogText::ToolSteps toolSteps = LogText::ToolSteps::folded;
    std::int64_t count = 0;
    std::string speaker;
    std::optional<LogText::Entries> seen; // absent before the first look
};

/// Waits for a signal that ends the program; false when none has come in time.
bool waitForEnd(SignalWatch& signals, std::chrono::milliseconds limit)
{
    pollfd watched{signals.descriptor(), POLLIN, 0};
    ::poll(&watched, 1, static_cast<int>(limit.count()));
    return signals.take().has_value();
}

ExitStatus follow(Conversation& conversation)
{
    SignalWatch signals{SIGINT, SIGTERM, SIGHUP};
    Backoff backoff = configuredBackoff();
    conversation.printNews(); // a first failure is final
    std::chrono::milliseconds pause = pollInterval;
    for (bool isLost = false; !waitForEnd(signals, pause);) {
        try {
            conversation.printNews();
            isLost = false;
            pause = pollInterval;
            backoff.reset();
        } catch (const CommandError& error) {
            if (error.status != ExitStatus::unreachable && error.status != ExitStatus::timeout)
                throw;
            if (!isLost)
                Output::note(std::string(error.what()) + "; trying again ...");
            isLost = true;
            pause = backoff.next();
        }
    }
    return ExitStatus::success;
}

ExitStatus run(const CommandLine& line, const Options& options)
{
    Conversation conversation(line, options);
    if (options.follows)
        return follow(conversation);
    conversation.print();
    return ExitStatus::success;
}

} // namespace

void addLogCommand(CLI::App& app, CommandLine& line)
{
    SubCommand command(app, line, "log", "Print the conversation with an agent, its tool steps folded");
    command.footer("Examples:\n"
                   "  tarnel log p3\n"
                   "  tarnel log p3 -n 10 --follow     what comes too, until ctrl+c\n"
                   "  tarnel log p3 --json | jq -r '.entries[-1].text'\n"
                   "How tool steps appear is the setting conversation.tool_calls.");
    const auto options = std::make_shared<Options>();
    command.option("pane", options->pane, std::string(paneHelp)).kind("PANE").required();
    command.option("-n,--entries", options->count, "The last entries; as many as conversation.max_entries says")
        .kind("N")
        .within(0, 1'000'000);
    command.flag("-f,--follow", options->follows, "Go on with what comes, until ctrl+c");
    command.run([&line, options] { return run(line, *options); });
}

} // namespace tarnel
