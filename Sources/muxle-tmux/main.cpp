#include "TarnelCore/Base/Environment.h"
#include "TarnelCore/Config/TarnelPaths.h"
#include "TarnelCore/Muxle/MuxleClient.h"
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
    const tmux::Server server(address, homeDirectory(), path, complain);
    complain("serving " + address.socketPath() + " on " + path);
    int signal = 0;
    sigwait(&ending, &signal);
    return 0;
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

    try {
        app.parse(count, words);
        std::signal(SIGPIPE, SIG_IGN);
        return serve(tmuxSocket, socket);
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    } catch (const std::exception& error) {
        complain(error.what());
        return 1;
    }
}
