// TarnelCore/Attention/ConfiguredQueueOptions.h: the attention queue's settings from the configuration.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "TarnelCore/Config/TarnelConfig.h"

namespace tarnel {

/// The options that `config` asks for. No setting mutes panes: those stay empty.
QueueOptions queueOptions(const TarnelConfig& config);

} // namespace tarnel
