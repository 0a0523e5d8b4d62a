// tarnel/main.cpp: the command-line client of the daemon.
#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/JSON/JSON.h"
#include "TarnelCore/Muxle/MuxleClient.h"
#include "tarnel/AttachCommand.h"
#include "tarnel/DaemonAccess.h"
#include "tarnel/QueueCommand.h"
#include "tarnel/TopCommand.h"
#include "tarnel/WatchCommand.h"
#include <fmt/format.h>

namespace {

using namespace tarnel;

constexpr std::array commands{&addAttachCommand, &addQueueCommand, &addTopCommand, &addWatchCommand};

ExitStatus complain(ExitStatus status, const std::string& message)
{
    fmt::print(stderr, "tarnel: {}\n", TerminalText::plainLine(message));
    return status;
}

ExitStatus run(const CommandLine& line)
{
    try {
        return line.run();
    } catch (const SocketError& error) {
        return complain(ExitStatus::unreachable, unreachableMessage(error, line.socketPath));
    } catch (const MuxleError& error) {
        return complain(ExitStatus::failure, "the daemon at " + line.socketPath + " failed: " + error.message);
    } catch (const DecodingError& error) {
        return complain(
            ExitStatus::failure, "the daemon at " + line.socketPath + " speaks another language: " + error.what());
    } catch (const std::exception& error) {
        return complain(ExitStatus::failure, error.what());
    }
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app("Shows which coding agent waits for you.", "tarnel");
    app.require_subcommand(1);
    app.fallthrough(); // the options below may stand behind the sub-command too
    std::optional<std::string> socket;
    app.add_option("--socket", socket, "The daemon's socket, where it is not the usual one")->type_name("PATH");
    CommandLine line;
    for (const auto add : commands)
        add(app, line);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return static_cast<int>(app.exit(error) == 0 ? ExitStatus::success : ExitStatus::usage);
    }
    line.socketPath = daemonSocketPath(socket);
    return static_cast<int>(run(line));
}
