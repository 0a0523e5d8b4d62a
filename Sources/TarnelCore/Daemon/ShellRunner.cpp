#include "TarnelCore/Daemon/ShellRunner.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Process.h"
#include "TarnelCore/Daemon/DaemonError.h"
#include <algorithm>
#include <array>

namespace tarnel::ShellRunner {

namespace {

/// The variables by which a command finds the multiplexer; all others of its prefix tell of the daemon's own pane.
constexpr std::array keptVariables{"MUXLE_SOCKET_PATH"sv, "MUXLE_BIN_PATH"sv, "MUXLE_CONFIG_PATH"sv, "MUXLE_SESSION"sv};

} // namespace

bool isBound(const MuxleKeymap& keymap, std::string_view command)
{
    return std::ranges::any_of(keymap.commands(),
        [&](const MuxleCommandKey& bound) { return bound.type == "shell" && bound.command == command; });
}

MuxleKeymap currentKeymap(const Environment& environment)
{
    const std::string home = nonEmpty(environment, "HOME").value_or(homeDirectory());
    return MuxleKeymap(
        Files::read(nonEmpty(environment, "MUXLE_CONFIG_PATH").value_or(home + "/.config/muxle/config.toml")));
}

Environment environmentFor(const Environment& daemon, const MuxleClient& muxle, const Environment& active)
{
    Environment result = daemon;
    std::erase_if(result, [](const auto& variable) {
        return variable.first.starts_with("MUXLE_")
            && std::ranges::find(keptVariables, variable.first) == keptVariables.end();
    });
    result["MUXLE_SOCKET_PATH"] = muxle.socketPath();
    if (const auto tool = MuxleClient::executable(daemon))
        result["MUXLE_BIN_PATH"] = *tool;
    for (const auto& [name, value] : active)
        result[name] = value;
    return result;
}

JSON run(
    const Request& request, const MuxleClient& muxle, const Environment& environment, std::chrono::nanoseconds timeout)
{
    if (!isBound(currentKeymap(environment), request.command))
        throw DaemonError::notBound(request.command);
    const Process shell({.executable = "/bin/sh",
        .arguments = {"-c", request.command},
        .environment = environmentFor(environment, muxle, request.active),
        .workingDirectory = request.cwd == "" ? std::nullopt : request.cwd});
    const auto status = shell.waitFor(timeout);
    JSON::Object result{{"started", true}, {"finished", status.has_value()}};
    if (status)
        result["status"] = *status;
    return result;
}

} // namespace tarnel::ShellRunner
