#include "TarnelCore/Attention/ConfiguredQueueOptions.h"

namespace tarnel {

QueueOptions queueOptions(const TarnelConfig& config)
{
    const auto muted = config.list("attention.muted_agents");
    return {
        .order = config.string("attention.order"),
        .includeFinished = config.boolean("attention.include_finished"),
        .finishedAfterSeconds = config.number("attention.finished_after_seconds"),
        .questionMarkers = config.list("attention.question_markers"),
        .mutedAgentNames = {muted.begin(), muted.end()},
        .askingFromRecords = config.boolean("attention.asking_from_records"),
        .checkIdleScreens = config.boolean("attention.check_idle_screens"),
    };
}

} // namespace tarnel
