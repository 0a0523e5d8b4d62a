// TarnelCore/Daemon/FocusedPane.h: the pane that the user looks at.
#pragma once
#include "TarnelCore/Muxle/MuxleClient.h"

namespace tarnel {

/// The first pane of the multiplexer's list that has the focus. Throws DaemonError when none has it, and what the
/// multiplexer throws.
MuxleAgent focusedPane(const MuxleClient& muxle);

/// The variables by which a shell command is told what the user looks at: "MUXLE_ACTIVE_PANE_ID" and the like.
Environment activeVariables(const MuxleAgent& pane);

} // namespace tarnel
