#include "TarnelCore/Base/Environment.h"
#include "TarnelCore/Config/TarnelPaths.h"
#include "TarnelCore/Muxle/MuxleClient.h"
#include "muxle-tmux/ObserveCommand.h"
#include "muxle-tmux/Server.h"
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <optional>
#include <pthread.h>
#include <string>

namespace {

using namespace tarnel;

void complain(const std::string& text) { std::fprintf(stderr, "muxle-tmux: %s\n", text.c_str()); }

/// Serves until someone asks the process to end.
int serve(const std::optional<std::string>& tmuxSocket, const std::optional<std::string>& socket)
{
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&ending, signal);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr); // before there are threads, which all take it over
    const Environment environment = processEnvironment();
    const std::string path = socket ? *socket : MuxleClient::resolveSocketPath(std::nullopt, environment);
    const tmux::TmuxAddress address(tmuxSocket, environment);
    const tmux::Server server({.address = address, .home = homeDirectory(), .socketPath = path, .log = complain});
    complain("serving " + address.socketPath() + " on " + path);
    int signal = 0;
    sigwait(&ending, &signal);
    return 0;
}

int observe(const tmux::ObserveOptions& options)
{
    const std::string path = MuxleClient::resolveSocketPath(std::nullopt, processEnvironment());
    try {
        tmux::observePane(path, options, stdout);
        return 0;
    } catch (const SocketError& error) {
        complain(std::string(error.what()) + "; start \"muxle-tmux serve\", or set MUXLE_SOCKET_PATH to its socket");
        return 1;
    }
}

} // namespace

int main(int count, char** words)
{
    CLI::App app("Serves the panes of a tmux server to programs that speak muxle's socket protocol", "muxle-tmux");
    app.set_version_flag("--version", std::string(tarnelVersion));
    app.require_subcommand(1);

    std::optional<std::string> tmuxSocket;
    std::optional<std::string> socket;
    CLI::App* serving = app.add_subcommand("serve", "Serve until interrupted");
    serving->add_option("--tmux-socket", tmuxSocket, "The tmux server: a name as for tmux -L, or a path as for tmux -S")
        ->type_name("NAME|PATH");
    serving->add_option("--socket", socket, "Where to listen; the default is where muxle's clients look")
        ->type_name("PATH");

    // Where muxle's clients start it as their multiplexer's own tool.
    tmux::ObserveOptions observation;
    CLI::App* terminal = app.add_subcommand("terminal", "Show a terminal to another program")->require_subcommand(1);
    CLI::App* session = terminal->add_subcommand("session", "A pane's terminal")->require_subcommand(1);
    CLI::App* observing = session->add_subcommand("observe", "Print what a pane shows, as JSON lines");
    observing->add_option("pane", observation.pane, "The pane: p3, or as tmux calls it, %3")->required();
    observing->add_option("--cols", observation.columns, "The viewer's columns; the pane keeps its own")
        ->check(CLI::PositiveNumber);
    observing->add_option("--rows", observation.rows, "The viewer's rows; the pane keeps its own")
        ->check(CLI::PositiveNumber);

    try {
        app.parse(count, words);
        std::signal(SIGPIPE, SIG_IGN);
        if (*serving)
            return serve(tmuxSocket, socket);
        return observe(observation);
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    } catch (const std::exception& error) {
        complain(error.what());
        return 1;
    }
}
