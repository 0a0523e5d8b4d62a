// tarnel/PanePlace.h: the pane that the user names, and the daemon that has it.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "tarnel/DaemonAccess.h"
#include <string>
#include <utility>
#include <vector>

namespace tarnel {

/// What the help says of a PANE.
inline constexpr std::string_view paneHelp =
    "The agent's pane, as `tarnel queue` shows it: p3, or studio/p3 on one of several machines";

struct PanePlace {
    Daemon daemon;
    std::string pane; ///< The pane's id, without a machine.

    /// Finds "p3", or "studio/p3" with the machine's name or the host's. Several daemons are asked which of them has
    /// the pane; one alone is not, unless the text holds a slash. Throws CommandError when none or more than one has
    /// it.
    static PanePlace find(const std::vector<Daemon>& daemons, const std::string& text, DaemonClient::Seconds timeout);

    /// A request about the pane; `params` need not name it. When it fails and there is no such pane, the error lists
    /// those that there are. Throws CommandError.
    [[nodiscard]] JSON call(std::string_view method, JSON::Object params, DaemonClient::Seconds timeout) const;
};

/// What to throw for a pane that there is not, where there are `agents` in words.
CommandError noSuchPane(const std::string& text, const std::string& agents);

/// Whether the snapshot has this pane.
bool hasPane(const MachineSnapshot& snapshot, std::string_view pane);

/// The panes with agents in a few words: "p1 (claude, shop), p2 (codex, docs)".
std::string agentsIn(const MachineSnapshot& snapshot);

} // namespace tarnel
