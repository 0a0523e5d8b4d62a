// tarnel/DaemonAccess.h: the daemons that the user means, and what to say when one does not answer.
#pragma once
#include "TarnelCore/Config/TarnelConfig.h"
#include "TarnelCore/Daemon/DaemonClient.h"
#include "tarnel/Backoff.h"
#include "tarnel/CommandLine.h"
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tarnel {

/// One daemon, here or on another machine.
/// Thread-safety: calls are made one after another; a subscription beside them is fine.
struct Daemon {
    std::string host; ///< The ssh target; empty for this machine.
    std::shared_ptr<LineChannelOpener> opener; ///< A connection of its own each time: for subscriptions.
    std::shared_ptr<DaemonClient> client; ///< For calls.

    static Daemon here(const std::string& socketPath);
    static Daemon onHost(
        const std::string& target, const std::optional<std::string>& socket, const Environment& environment);

    /// Names it in messages.
    [[nodiscard]] std::string label() const { return opener->label(); }

    /// One request and its result. Throws CommandError.
    [[nodiscard]] JSON call(std::string_view method, const JSON::Object& params, DaemonClient::Seconds timeout) const;
};

/// The name by which `--host` means this machine.
inline constexpr std::string_view thisMachine = "local";

/// Those that the command line names, else the one that the environment, the hub that the configuration, or the socket
/// that the configuration names; never none. Throws CommandError for a host that no one can mean.
std::vector<Daemon> daemonsOf(const CommandLine& line, const TarnelConfig& config, const Environment& environment);
/// The same by this process's environment and the user's configuration.
std::vector<Daemon> daemonsOf(const CommandLine& line);
/// The same for a sub-command that asks one daemon only. Throws CommandError when the user names several.
Daemon oneDaemonOf(const CommandLine& line);

/// How to wait between attempts to reach a daemon again, by the user's configuration.
Backoff configuredBackoff();

/// What a call of the client threw, in words and with its exit status.
CommandError inWords(const Daemon& daemon, const std::exception_ptr& failure);

/// The result, or what was thrown, of the same request to each daemon, all asked at the same time.
using CallOutcome = std::variant<JSON, std::exception_ptr>;
std::vector<CallOutcome> callAll(const std::vector<Daemon>& daemons, std::string_view method,
    const JSON::Object& params, DaemonClient::Seconds timeout);

/// The results of `callAll` for those that answer. The others are told to the user, and make `status` what they failed
/// with. Throws when none answers. The names are those that the daemons were reached under.
struct Answer {
    const Daemon* daemon = nullptr;
    JSON result;
};
std::vector<Answer> answersOf(const std::vector<Daemon>& daemons, std::string_view method, const JSON::Object& params,
    DaemonClient::Seconds timeout, ExitStatus& status);

} // namespace tarnel
