// TarnelCore/Commands/AgentDelivery.h: whether a prompt may be typed into an agent now.
#pragma once
#include "TarnelCore/Commands/Command.h"
#include "TarnelCore/Muxle/MuxleModels.h"

namespace tarnel {

/// What becomes of a prompt: it is typed now, or kept until the agent is free.
enum class AgentDelivery { enter, hold };

/// A prompt that is to follow the turn waits while the agent works. A blocked agent waits for input: it is not busy.
/// Every kind of agent is treated alike.
AgentDelivery chooseDelivery(AgentKind kind, AgentStatus status, SendMode mode);

/// Whether the agent waits for the next prompt.
bool isFree(AgentStatus status);

} // namespace tarnel
