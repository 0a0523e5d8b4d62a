#include "tarnel/DaemonAccess.h"
#include "TarnelCore/Config/TarnelPaths.h"
#include "TarnelCore/Muxle/MuxleClient.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include "TarnelCore/UnixSocket/SocketError.h"
#include "tarnel/KeptOpener.h"
#include "tarnel/Output.h"
#include "tarnel/RemoteError.h"
#include "tarnel/SSHOpener.h"
#include <cerrno>
#include <thread>

namespace tarnel {

namespace {

bool isTimeout(const SocketError& error) { return error.error == EAGAIN || error.error == ETIMEDOUT; }

std::string whatFailed(const Daemon& daemon, const SocketError& error)
{
    if (error.kind == SocketError::Kind::closed)
        return "the daemon at " + daemon.label() + " ended the connection";
    if (error.kind == SocketError::Kind::io)
        return "lost the daemon at " + daemon.label() + ": " + error.what();
    return error.what();
}

/// What to do about it, behind "; ".
std::string advice(const Daemon& daemon)
{
    if (daemon.host.empty())
        return "start the daemon with: tarneld --socket " + daemon.label();
    return "see what is wrong with: tarnel doctor --host " + daemon.host;
}

Daemon hostNamed(
    const std::string& name, const CommandLine& line, const std::string& here, const Environment& environment)
{
    if (name == thisMachine)
        return Daemon::here(here);
    if (name.empty() || name.starts_with('-') || name.find_first_of(" \t\n") != name.npos)
        throw CommandError(ExitStatus::usage, "\"" + name + "\" is no host; name one as ssh knows it, or \"local\"");
    return Daemon::onHost(name, line.socket, environment);
}

} // namespace

Daemon Daemon::here(const std::string& socketPath)
{
    const auto opener = std::make_shared<SocketOpener>(socketPath);
    return {.host = "", .opener = opener, .client = std::make_shared<DaemonClient>(opener)};
}

Daemon Daemon::onHost(
    const std::string& target, const std::optional<std::string>& socket, const Environment& environment)
{
    const auto opener = std::make_shared<SSHOpener>(target, socket, environment);
    return {.host = target,
        .opener = opener,
        .client = std::make_shared<DaemonClient>(std::make_shared<KeptOpener>(opener))};
}

JSON Daemon::call(std::string_view method, const JSON::Object& params, DaemonClient::Seconds timeout) const
{
    try {
        return client->call(method, params, timeout);
    } catch (...) {
        throw inWords(*this, std::current_exception());
    }
}

std::vector<Daemon> daemonsOf(const CommandLine& line, const TarnelConfig& config, const Environment& environment)
{
    const auto given = line.socket ? line.socket : nonEmpty(environment, "TARNELD_SOCKET");
    const std::string here = given.value_or(TarnelConfig::expand(config.string("advanced.daemon_socket")));
    std::vector<Daemon> daemons;
    for (const std::string& name : line.hosts)
        daemons.push_back(hostNamed(name, line, here, environment));
    const std::string hub = config.string("machines.hub");
    if (daemons.empty())
        daemons.push_back(given || hub.empty() ? Daemon::here(here) : hostNamed(hub, line, here, environment));
    return daemons;
}

std::vector<Daemon> daemonsOf(const CommandLine& line)
{
    return daemonsOf(line, TarnelConfig(TarnelConfig::defaultPath()), processEnvironment());
}

Daemon oneDaemonOf(const CommandLine& line)
{
    std::vector<Daemon> daemons = daemonsOf(line);
    if (daemons.size() > 1)
        throw CommandError(ExitStatus::usage, "this asks one daemon; give --host only once");
    return std::move(daemons.front());
}

Backoff configuredBackoff()
{
    const TarnelConfig config(TarnelConfig::defaultPath());
    return Backoff(std::chrono::duration_cast<Backoff::Duration>(
        std::chrono::duration<double>(config.number("machines.reconnect_max_seconds"))));
}

CommandError inWords(const Daemon& daemon, const std::exception_ptr& failure)
{
    try {
        std::rethrow_exception(failure);
    } catch (const CommandError& error) {
        return error;
    } catch (const RemoteError& error) {
        return {ExitStatus::unreachable, error.what()};
    } catch (const SocketError& error) {
        if (isTimeout(error))
            return {ExitStatus::timeout,
                "the daemon at " + daemon.label() + " did not answer in time; wait longer with --timeout"};
        return {ExitStatus::unreachable, whatFailed(daemon, error) + "; " + advice(daemon)};
    } catch (const MuxleError& error) {
        return {ExitStatus::failure, error.message};
    } catch (const DecodingError& error) {
        return {ExitStatus::failure,
            "the daemon at " + daemon.label() + " speaks another language: " + error.what()
                + "; both sides should be of the same version"};
    } catch (const std::exception& error) {
        return {ExitStatus::failure, error.what()};
    }
}

std::vector<CallOutcome> callAll(const std::vector<Daemon>& daemons, std::string_view method,
    const JSON::Object& params, DaemonClient::Seconds timeout)
{
    std::vector<CallOutcome> outcomes(daemons.size());
    const auto ask = [&](std::size_t i) {
        try {
            outcomes[i] = daemons[i].client->call(method, params, timeout);
        } catch (...) {
            outcomes[i] = std::current_exception();
        }
    };
    std::vector<std::thread> others;
    for (std::size_t i = 1; i < daemons.size(); ++i)
        others.emplace_back(ask, i);
    ask(0);
    for (std::thread& other : others)
        other.join();
    return outcomes;
}

std::vector<Answer> answersOf(const std::vector<Daemon>& daemons, std::string_view method, const JSON::Object& params,
    DaemonClient::Seconds timeout, ExitStatus& status)
{
    std::vector<Answer> answers;
    std::unique_ptr<CommandError> failed;
    const std::vector<CallOutcome> outcomes = callAll(daemons, method, params, timeout);
    for (std::size_t i = 0; i < daemons.size(); ++i) {
        if (const JSON* result = std::get_if<JSON>(&outcomes[i])) {
            answers.push_back({&daemons[i], *result});
            continue;
        }
        if (failed)
            Output::note(failed->what());
        failed = std::make_unique<CommandError>(inWords(daemons[i], std::get<std::exception_ptr>(outcomes[i])));
        status = failed->status;
    }
    if (failed && answers.empty())
        throw *failed;
    if (failed)
        Output::note(failed->what());
    return answers;
}

} // namespace tarnel
