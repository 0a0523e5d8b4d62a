#include "TarnelCore/Records/StepList.h"

namespace tarnel {

RecordStep& StepList::add(bool isItem)
{
    RecordStep& step = steps.emplace_back();
    step.isItem = isItem;
    if (isItem)
        ++items;
    return step;
}

void StepList::addEntry(TranscriptEntry entry)
{
    entries.emplace_back(std::move(entry));
    steps.back().hasEntry = true;
}

bool StepList::takeBackFrom(std::uint64_t offset)
{
    const std::size_t before = size();
    while (size() > 0 && steps.back().offset >= offset) {
        if (steps.back().hasEntry)
            entries.pop_back();
        if (steps.back().isItem)
            --items;
        steps.pop_back();
    }
    return size() < before;
}

bool StepList::dropUpTo(std::uint64_t offset)
{
    static const Shared<TranscriptEntry> nothing;
    const std::size_t before = first.step;
    while (first.step < steps.size() && steps[first.step].offset <= offset) {
        if (steps[first.step].hasEntry)
            entries[first.entry++] = nothing; // gives its memory back now
        if (steps[first.step].isItem)
            --items;
        steps[first.step++].pending.reset();
    }
    const bool hasDropped = first.step > before;
    if (2 * first.step > steps.size()) {
        steps.erase(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(first.step));
        entries.erase(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(first.entry));
        first = {};
    }
    return hasDropped;
}

void StepList::shrink()
{
    const auto fit = [](auto& list) {
        if (list.capacity() - list.size() > list.size() / 16)
            list.shrink_to_fit();
    };
    fit(steps);
    fit(entries);
}

} // namespace tarnel
