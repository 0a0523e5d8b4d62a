// TarnelCore/Records/TranscriptFold.h: makes the transcript of a record from what its lines say.
#pragma once
#include "TarnelCore/Records/StepList.h"
#include "TarnelCore/Records/Transcript.h"
#include <optional>
#include <vector>

namespace tarnel {

/// How an agent's record tells what it waits for and when its turn is over.
enum class RecordStyle {
    calls, ///< An open call waits for permission or an answer; a last word without one ends the turn.
    turns, ///< Turns end expressly; the same words are often reported twice; items may replace other reports.
};

/// Goes over steps in the order of their lines, and can go on when more have come. It keeps what it must remember
/// between two steps; what it makes of them is the caller's: an empty transcript at first, from then on the one that it
/// has made last, or a copy of that. The transcript's entries are shared with the steps, which must not be dropped nor
/// taken back as long as the fold goes on. Thread-safety: that of a standard container.
class TranscriptFold {
public:
    /// `hasItems` tells whether one of all steps, also of those to come, reports a completed item.
    TranscriptFold(RecordStyle style, bool hasItems)
        : style(style)
        , hasItems(hasItems)
    {
    }

    /// Goes over the steps from `from` to the end. `names` are those of the steps.
    void add(const StepList& steps, StepList::Place from, const NameTable& names, Transcript& transcript);

    /// Brings all else up to date in `transcript`, which has the steps' entries already.
    void finish(const NameTable& names, Transcript& transcript);

    /// Whether it was made for steps with completed items.
    [[nodiscard]] bool isForItems() const { return hasItems; }

private:
    struct Call {
        NameTable::Number name = 0;
        std::uint32_t detailLength = 0;
        std::optional<Timestamp> at;
        const TranscriptEntry* entry = nullptr;
        const Pending* pending = nullptr;
    };

    void addOne(const RecordStep& step, const Shared<TranscriptEntry>* entry, Transcript& transcript);
    void addEntry(const RecordStep& step, const Shared<TranscriptEntry>& entry, Transcript& transcript);
    const Call* lastOpenCall();
    void finishCalls(Transcript& transcript);
    void finishTurns(Transcript& transcript);

    RecordStyle style;
    bool hasItems;
    std::optional<Timestamp> lastActivity;
    const TranscriptEntry* firstPrompt = nullptr;
    const TranscriptEntry* lastPrompt = nullptr;
    const TranscriptEntry* lastMessage = nullptr;
    NameTable::Number branch = 0;
    NameTable::Number title = 0;
    NameTable::Number error = 0;
    bool isPlanning = false;
    bool hasTurnEnded = false;
    std::vector<Call> calls; // in their order, without closed ones at the end
    std::vector<std::uint32_t> openCalls; // by name: how many `calls` there were with its latest open one; 0: none
};

} // namespace tarnel
