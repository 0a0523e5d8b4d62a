// TarnelCore/Records/TranscriptFold.h: makes the transcript of a record from what its lines say.
#pragma once
#include "TarnelCore/Records/RecordSteps.h"
#include "TarnelCore/Records/Transcript.h"
#include <span>

namespace tarnel {

/// How an agent's record tells what it waits for and when its turn is over.
enum class RecordStyle {
    calls, ///< An open call waits for permission or an answer; a last word without one ends the turn.
    turns, ///< Turns end expressly; the same words are often reported twice; items may replace other reports.
};

/// The transcript that `head` and then `tail` tell, both in the order of their lines. `names` are those of the steps.
/// Pure; its entries are shared with the steps.
Transcript foldTranscript(
    std::span<const RecordStep> head, std::span<const RecordStep> tail, const NameTable& names, RecordStyle style);

} // namespace tarnel
