#include "TarnelCore/Daemon/FocusedPane.h"
#include "TarnelCore/Daemon/DaemonError.h"

namespace tarnel {

MuxleAgent focusedPane(const MuxleClient& muxle)
{
    for (MuxleAgent& pane : muxle.panes()) {
        if (pane.focused)
            return std::move(pane);
    }
    throw DaemonError::unfit("no pane has the focus");
}

Environment activeVariables(const MuxleAgent& pane)
{
    return {{"MUXLE_ACTIVE_WORKSPACE_ID", pane.workspaceID}, {"MUXLE_ACTIVE_TAB_ID", pane.tabID},
        {"MUXLE_ACTIVE_PANE_ID", pane.paneID}, {"MUXLE_ACTIVE_PANE_CWD", pane.cwd}};
}

} // namespace tarnel
