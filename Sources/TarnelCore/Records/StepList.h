// TarnelCore/Records/StepList.h: the steps of consecutive lines of a record.
#pragma once
#include "TarnelCore/Records/RecordStep.h"
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarnel {

/// Steps in the order of their lines. New ones come to the end; those of the first lines can be dropped again, and
/// those of the last ones taken back. Thread-safety: that of a standard container.
class StepList {
public:
    /// A place between two steps. Valid until steps before it are dropped or taken back.
    struct Place {
        std::size_t step = 0;
        std::size_t entry = 0;
    };

    /// Adds a step; the reference is valid until the next one.
    RecordStep& add(bool isItem);
    /// Gives the last step, which has none, its entry.
    void addEntry(TranscriptEntry entry);

    /// Takes back the steps of the lines that start at `offset` or later. Returns whether there were any.
    bool takeBackFrom(std::uint64_t offset);
    /// Drops the steps of the lines that start at `offset` or before. Returns whether there were any.
    bool dropUpTo(std::uint64_t offset);
    void clear() { *this = {}; }
    /// Gives memory back that is only there for steps to come.
    void shrink();

    [[nodiscard]] std::size_t size() const { return steps.size() - first.step; }
    [[nodiscard]] Place begin() const { return first; }
    [[nodiscard]] Place end() const { return {steps.size(), entries.size()}; }

    /// Whether a step reports a completed item.
    [[nodiscard]] bool hasItems() const { return items > 0; }

    /// Calls `visit(step, entry)` for the steps from `from` on; a step without entry has null.
    template <class Visit> void forEach(Place from, Visit visit) const
    {
        for (; from.step < steps.size(); ++from.step) {
            const RecordStep& step = steps[from.step];
            visit(step, step.hasEntry ? &entries[from.entry++] : nullptr);
        }
    }

private:
    std::vector<RecordStep> steps;
    std::vector<Shared<TranscriptEntry>> entries; // of those steps that have one
    Place first; // those before it are dropped
    std::size_t items = 0;
};

} // namespace tarnel
