// tarneld: the daemon, or with "bridge" as its first argument a relay to one.
#include "Arguments.h"
#include "TarnelCore/Attention/AttentionEngine.h"
#include "TarnelCore/Attention/ConfiguredQueueOptions.h"
#include "TarnelCore/Base/FileDescriptor.h"
#include "TarnelCore/Base/Memory.h"
#include "TarnelCore/Config/TarnelConfig.h"
#include "TarnelCore/Config/TarnelPaths.h"
#include "TarnelCore/Daemon/Bridge.h"
#include "TarnelCore/Daemon/TarnelDaemon.h"
#include <csignal>
#include <cstdio>
#include <exception>

namespace tarnel {

namespace {

constexpr const char* usage = R"(usage: tarneld [--socket PATH] [--session NAME] [--machine NAME]
       tarneld bridge [--socket PATH]

Watches the coding agents in muxle's panes and tells clients which of them wait for you.

  --socket PATH    listen here (bridge: connect there)
  --session NAME   watch this muxle session
  --machine NAME   report this machine name
  bridge           relay lines between standard input and output and a daemon's socket
  --help           print this
  --version        print the version

Settings: ~/.config/tarnel/config.toml, or the file that TARNEL_CONFIG names.
)";

std::optional<std::string> nonEmptyText(std::string text)
{
    return text.empty() ? std::nullopt : std::optional(std::move(text));
}

std::string machineName(const Arguments& arguments, const Environment& environment)
{
    if (auto given = arguments.option("--machine"))
        return *std::move(given);
    const auto variable = environment.find("TARNEL_MACHINE");
    return variable != environment.end() ? variable->second : AttentionEngine::localMachineName();
}

std::string daemonSocket(const Arguments& arguments, const Environment& environment, const TarnelConfig& config)
{
    if (auto given = arguments.option("--socket"))
        return *std::move(given);
    if (environment.contains("TARNELD_SOCKET"))
        return TarnelPaths::daemonSocket();
    return TarnelConfig::expand(config.string("advanced.daemon_socket"));
}

int serve(const Arguments& arguments, const TarnelConfig& config)
{
    for (const std::string& problem : config.problems())
        std::fprintf(stderr, "tarneld: config: %s\n", problem.c_str());
    const Environment environment = processEnvironment();
    auto session = arguments.option("--session");
    if (!session)
        session = nonEmptyText(config.string("general.muxle_session"));
    const Log log;
    AttentionEngine engine(
        MuxleClient(std::make_shared<MuxleSocket>(MuxleClient::resolveSocketPath(session, environment))),
        machineName(arguments, environment), queueOptions(config),
        {.diagnostics = [&](std::string_view line) { log.diagnostic(line); }});
    TarnelDaemon daemon(engine, daemonSocket(arguments, environment, config), {.log = log});
    std::signal(SIGPIPE, SIG_IGN);
    raiseDescriptorLimit();
    keepLittleMemory();
    try {
        daemon.run();
        return 0;
    } catch (const std::exception& error) {
        log.message(error.what());
        return 1;
    }
}

int run(const Arguments& arguments)
{
    if (arguments.contains("--help"))
        return std::fputs(usage, stdout) < 0;
    if (arguments.contains("--version"))
        return std::printf("tarneld %s\n", std::string(tarnelVersion).c_str()) < 0;
    const TarnelConfig config(TarnelConfig::defaultPath());
    if (!arguments.startsWith("bridge"))
        return serve(arguments, config);
    const std::string configured = TarnelConfig::expand(config.string("advanced.daemon_socket"));
    return Bridge::run(arguments.option("--socket").value_or(configured));
}

} // namespace

} // namespace tarnel

int main(int count, char** values) { return tarnel::run(tarnel::Arguments(count, values)); }
