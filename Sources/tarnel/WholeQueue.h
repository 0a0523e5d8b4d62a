// tarnel/WholeQueue.h: the queue of all daemons, asked once.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "tarnel/DaemonAccess.h"
#include <vector>

namespace tarnel {

struct WholeQueue {
    std::vector<AttentionItem> items; ///< Most urgent first.
    bool severalMachines = false;
    ExitStatus status = ExitStatus::success; ///< Else what a daemon failed with that does not answer.

    /// Throws CommandError when no daemon answers; those that fail beside others are told to the user.
    static WholeQueue ask(const std::vector<Daemon>& daemons, DaemonClient::Seconds timeout);
};

/// Whether the user wants the item that has waited longest first.
bool wantsOldestFirst();

} // namespace tarnel
