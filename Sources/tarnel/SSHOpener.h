// tarnel/SSHOpener.h: reaches the daemon of another machine through a remote shell.
#pragma once
#include "TarnelCore/Base/Environment.h"
#include "TarnelCore/UnixSocket/LineChannel.h"
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

/// Runs `ssh TARGET tarneld bridge` for each channel. The words of the environment's `TARNEL_SSH` take the place of ssh
/// and its options. What the shell on the other side prints before the first line of the daemon is passed over; what
/// anyone complains of is kept for the error. Nobody is asked for a password: there may be no one to ask.
class SSHOpener final : public LineChannelOpener {
public:
    /// `remoteSocket` is the daemon's socket there, where it is not the usual one.
    SSHOpener(std::string target, const std::optional<std::string>& remoteSocket, Environment environment);

    /// Returns at once; RemoteError comes from here when ssh cannot be started, else from the channel's first use.
    std::shared_ptr<LineChannel> open(std::chrono::duration<double> timeout) override;
    [[nodiscard]] std::string label() const override { return target; }

    /// The command and its arguments.
    [[nodiscard]] const std::vector<std::string>& commandLine() const { return words; }

private:
    const std::string target;
    const Environment environment;
    std::vector<std::string> words;
};

/// The path of the program `name`, looked up in `PATH` of `environment` unless it has a slash; nothing when there is
/// none.
std::optional<std::string> findProgram(const std::string& name, const Environment& environment);

} // namespace tarnel
