#include "tarnel/Program.h"
#include "TarnelCore/Config/TarnelPaths.h"
#include "tarnel/Commands.h"
#include "tarnel/Duration.h"
#include "tarnel/Output.h"
#include <array>

namespace tarnel {

namespace {

constexpr std::array commands{&addQueueCommand, &addWatchCommand, &addNextCommand, &addShowCommand, &addScreenCommand,
    &addLogCommand, &addSearchCommand, &addAnswerCommand, &addPromptCommand, &addCallCommand, &addEventsCommand};

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
}

int runProgram(int count, char** words)
{
    CLI::App app("", "tarnel");
    CommandLine line;
    declare(app, line);
    try {
        app.parse(count, words);
    } catch (const CLI::ParseError& error) {
        return static_cast<int>(app.exit(error) == 0 ? ExitStatus::success : ExitStatus::usage);
    }
    return static_cast<int>(run(line));
}

} // namespace tarnel
