#include "tarnel/Program.h"
#include "TarnelCore/Config/TarnelPaths.h"
#include "tarnel/Commands.h"
#include "tarnel/Completion.h"
#include "tarnel/Duration.h"
#include "tarnel/Nearest.h"
#include "tarnel/Output.h"
#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>

namespace tarnel {

namespace {

constexpr std::array commands{&addQueueCommand, &addWatchCommand, &addNextCommand, &addShowCommand, &addScreenCommand,
    &addLogCommand, &addSearchCommand, &addAnswerCommand, &addPromptCommand, &addAttachCommand, &addTopCommand,
    &addCallCommand, &addEventsCommand, &addConfigCommand, &addDoctorCommand, &addCompletionCommand};

void addSharedOptions(CLI::App& app, CommandLine& line)
{
    app.set_version_flag("--version", "tarnel " + std::string(tarnelVersion), "Print the version");
    app.add_option("--host", line.hosts,
           "Ask the daemon of this machine, as ssh knows it, or \"local\"; several make one queue")
        ->type_name("HOST")
        ->allow_extra_args(false);
    app.add_option("--socket", line.socket, "The daemon's socket, where it is not the usual one")->type_name("PATH");
    app.add_flag("--json", line.asJSON, "Print JSON, one line a value");
    const auto readTimeout = [&line](const std::string& text) {
        line.timeout = Duration::parse(text);
        if (!line.timeout)
            throw CLI::ValidationError("--timeout", "\"" + text + "\" is no time; write it as 30s, 5m or 1h");
    };
    app.add_option_function<std::string>("--timeout", readTimeout, "How long to wait for an answer, 15s by default")
        ->type_name("TIME");
}

ExitStatus run(const CommandLine& line)
{
    try {
        return line.run();
    } catch (const CommandError& error) {
        Output::note(error.what());
        return error.status;
    } catch (const std::exception& error) {
        Output::note(error.what());
        return ExitStatus::failure;
    }
}

/// The sub-command that a user meant who has named one that there is not; nothing when that is not what is wrong.
std::optional<std::string> unknownCommand(const CLI::App& app, const std::vector<std::string>& words)
{
    if (words.empty() || words.front().starts_with('-'))
        return std::nullopt;
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands({}))
        names.push_back(command->get_name());
    if (std::find(names.begin(), names.end(), words.front()) != names.end())
        return std::nullopt;
    const auto nearest = Nearest::to(words.front(), names);
    return "there is no command " + words.front()
        + (nearest ? "; did you mean: tarnel " + *nearest : "; see all of them with: tarnel --help");
}

} // namespace

void declare(CLI::App& app, CommandLine& line)
{
    app.description("Shows which coding agent waits for you, and carries your answer to it.");
    app.require_subcommand(1);
    app.fallthrough(); // the shared options may stand behind the sub-command too
    app.footer("Examples:\n"
               "  tarnel queue\n"
               "  tarnel watch --host studio\n"
               "More about a command: tarnel COMMAND --help");
    addSharedOptions(app, line);
    for (const auto add : commands)
        add(app, line);
    for (CLI::App* command : app.get_subcommands({}))
        command->footer(command->get_footer() + "\nOptions of every command: tarnel --help");
}

int runProgram(int count, char** words)
{
    CLI::App app("", "tarnel");
    CommandLine line;
    declare(app, line);
    std::vector<std::string> rest(words + 1, words + std::max(count, 1));
    if (!rest.empty() && rest.front() == Completion::requestWord) {
        rest.erase(rest.begin());
        Completion::printCandidates(app, rest);
        return 0;
    }
    try {
        app.parse(count, words);
    } catch (const CLI::ParseError& error) {
        if (const auto unknown = unknownCommand(app, rest)) {
            Output::note(*unknown);
            return static_cast<int>(ExitStatus::usage);
        }
        return static_cast<int>(app.exit(error) == 0 ? ExitStatus::success : ExitStatus::usage);
    }
    return static_cast<int>(run(line));
}

} // namespace tarnel
