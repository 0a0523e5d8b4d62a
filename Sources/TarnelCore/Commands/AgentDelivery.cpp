#include "TarnelCore/Commands/AgentDelivery.h"

namespace tarnel {

AgentDelivery chooseDelivery(AgentKind, AgentStatus status, SendMode mode)
{
    return status == AgentStatus::working && mode == SendMode::afterTurn ? AgentDelivery::hold : AgentDelivery::enter;
}

bool isFree(AgentStatus status) { return status == AgentStatus::done || status == AgentStatus::idle; }

} // namespace tarnel
