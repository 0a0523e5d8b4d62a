// Tests/EndToEnd/DemoWorld.h: the daemon over a tmux server with stand-ins for agents, all of them private.
#pragma once
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Attention/Attention.h"
#include "TarnelCore/Base/Process.h"
#include "TarnelCore/Daemon/DaemonClient.h"
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

/// Longer where a sanitizer slows the programs down.
constexpr std::chrono::seconds patience = std::chrono::seconds(20) * TARNEL_SLOWDOWN;

/// Starts tmux, muxle-tmux and tarneld with a home of their own, and ends them and all that runs in tmux.
class DemoWorld {
public:
    /// Throws std::runtime_error when one of them does not come up.
    DemoWorld();
    ~DemoWorld();
    DemoWorld(const DemoWorld&) = delete;
    DemoWorld& operator=(const DemoWorld&) = delete;

    /// Starts an agent in a window of its own; its name is the part of the scene's before the dash. Returns its pane's
    /// id, as the daemon's clients see it.
    std::string startAgent(const std::string& scene);

    /// Runs a shell command in a window of its own, on a terminal of 100 by 30. Returns its pane's id.
    std::string startCommand(const std::string& command);

    void end(const std::string& pane);

    /// Ends tarneld at once.
    void endDaemon();

    /// Starts tarneld, of which none may run; returns once it answers.
    void startDaemon();

    /// Types keys, named as tmux names them.
    void type(const std::string& pane, const std::vector<std::string>& keys);

    /// What a pane shows, trailing blank lines left out.
    std::string screen(const std::string& pane);

    struct Run {
        int status = -1;
        std::string output; ///< Standard output and error, mixed.
    };
    /// Runs a shell command in the world's environment to its end.
    Run run(const std::string& command);

    /// Runs tmux on the world's server.
    Run tmux(std::vector<std::string> arguments);

    /// How to start a program in the world's environment, its output piped.
    [[nodiscard]] Process::Options command(
        const std::string& executable, const std::vector<std::string>& arguments) const;

    const TemporaryFolder folder;
    DaemonClient daemon;

private:
    [[nodiscard]] std::unique_ptr<Process> startLogging(const std::string& line, const std::string& log) const;
    std::string startWindow(const std::vector<std::string>& arguments);

    Environment environment;
    std::unique_ptr<Process> multiplexer;
    std::unique_ptr<Process> server;
};

/// A daemon's snapshots as a subscriber gets them.
class SnapshotWatch {
public:
    explicit SnapshotWatch(const std::string& socketPath);
    ~SnapshotWatch();

    /// Waits for a snapshot that `holds`, the newest included; null when none comes in time.
    std::shared_ptr<const MachineSnapshot> await(const std::function<bool(const MachineSnapshot&)>& holds);

private:
    class Implementation;
    const std::unique_ptr<Implementation> implementation;
};

/// The pane's item in the snapshot's queue; null when it has none.
const AttentionItem* itemOf(const MachineSnapshot& snapshot, const std::string& pane);

/// What the pane's agent has heard from its user, by its record; the prompt that its scene starts with is left out.
std::vector<std::string> heard(DemoWorld& world, const std::string& pane);

/// Waits until the pane has an item of `kind`.
std::optional<AttentionItem> awaitItem(SnapshotWatch& watch, const std::string& pane, AttentionKind kind);

} // namespace tarnel
