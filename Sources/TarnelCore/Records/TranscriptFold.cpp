#include "TarnelCore/Records/TranscriptFold.h"
#include "TarnelCore/Records/CodexReader.h"
#include <algorithm>

namespace tarnel {

namespace {

std::optional<std::string> textOf(const TranscriptEntry* entry)
{
    return entry ? std::optional(entry->text) : std::nullopt;
}

class Fold {
public:
    Fold(const NameTable& names, RecordStyle style, bool hasItems, std::size_t entryCount)
        : names(names)
        , style(style)
        , hasItems(hasItems)
        , openCalls(names.bound())
    {
        transcript.entries.reserve(entryCount);
    }

    void add(const RecordStep& step)
    {
        if (step.at)
            lastActivity = &*step.at;
        if (step.branch != 0)
            branch = step.branch;
        switch (step.kind) {
        case RecordStep::Kind::activity:
            break;
        case RecordStep::Kind::entry:
            addEntry(step);
            break;
        case RecordStep::Kind::call:
            addEntry(step);
            openCalls[step.name] = &step;
            callOrder.push_back(step.name);
            break;
        case RecordStep::Kind::result:
            openCalls[step.name] = nullptr;
            break;
        case RecordStep::Kind::title:
            title = step.name;
            break;
        case RecordStep::Kind::planMode:
        case RecordStep::Kind::workMode:
            isPlanning = step.kind == RecordStep::Kind::planMode;
            break;
        case RecordStep::Kind::turnEnd:
            transcript.turnFinished = true;
            break;
        case RecordStep::Kind::error:
            error = step.name;
            break;
        }
    }

    Transcript finish()
    {
        if (lastActivity)
            transcript.lastActivity = *lastActivity;
        transcript.branch = nameOf(branch);
        transcript.title = nameOf(title);
        transcript.errorMessage = nameOf(error);
        transcript.firstUserPrompt = textOf(firstPrompt);
        transcript.lastUserPrompt = textOf(lastPrompt);
        transcript.lastAssistantMessage = textOf(lastMessage);
        if (style == RecordStyle::calls)
            finishCalls();
        else
            finishTurns();
        return std::move(transcript);
    }

private:
    void addEntry(const RecordStep& step)
    {
        if (!step.entry || (step.isReplacedByItems && hasItems))
            return;
        const TranscriptEntry& entry = **step.entry;
        const bool isSpoken = step.role == EntryRole::user || step.role == EntryRole::assistant;
        if (style == RecordStyle::turns && isSpoken && repeatsLast(entry))
            return;
        transcript.entries.push_back(*step.entry);
        if (step.role == EntryRole::assistant)
            lastMessage = &entry;
        if (step.role == EntryRole::user) {
            if (!firstPrompt)
                firstPrompt = &entry;
            lastPrompt = &entry;
            transcript.turnFinished = false;
            error = 0;
        }
    }

    [[nodiscard]] bool repeatsLast(const TranscriptEntry& entry) const
    {
        if (transcript.entries.empty())
            return false;
        const TranscriptEntry& last = *transcript.entries.back();
        return last.role == entry.role && last.text == entry.text;
    }

    [[nodiscard]] std::optional<std::string> nameOf(NameTable::Number number) const
    {
        return number == 0 ? std::nullopt : std::optional<std::string>(names.text(number));
    }

    /// The latest call whose result is not there.
    [[nodiscard]] const RecordStep* lastOpenCall() const
    {
        const auto found = std::find_if(callOrder.rbegin(), callOrder.rend(),
            [this](NameTable::Number call) { return openCalls[call] != nullptr; });
        return found == callOrder.rend() ? nullptr : openCalls[*found];
    }

    void finishCalls()
    {
        if (const RecordStep* call = lastOpenCall()) {
            if (call->pending) {
                transcript.pending = *call->pending;
            } else {
                const TranscriptEntry& entry = **call->entry;
                transcript.pending = PendingPermission{.tool = entry.toolName.value_or(""),
                    .detail = entry.text.substr(entry.text.size() - call->detailLength)};
            }
            transcript.pendingSince = call->at;
        }
        transcript.turnFinished = !transcript.pending && !transcript.entries.empty()
            && transcript.entries.back()->role == EntryRole::assistant;
    }

    void finishTurns()
    {
        const RecordStep* call = lastOpenCall();
        if (call && call->pending) {
            transcript.pending = *call->pending;
            transcript.pendingSince = call->at;
            return;
        }
        const auto& message = transcript.lastAssistantMessage;
        if (!transcript.turnFinished || transcript.errorMessage || !message)
            return;
        auto plan = CodexReader::proposedPlan(*message);
        if (!plan && isPlanning)
            plan = *message;
        if (plan) {
            transcript.pending = PendingPlan{*std::move(plan)};
            transcript.pendingSince = transcript.lastActivity;
        }
    }

    const NameTable& names;
    const RecordStyle style;
    const bool hasItems;
    Transcript transcript;
    const Timestamp* lastActivity = nullptr;
    const TranscriptEntry* firstPrompt = nullptr;
    const TranscriptEntry* lastPrompt = nullptr;
    const TranscriptEntry* lastMessage = nullptr;
    NameTable::Number branch = 0;
    NameTable::Number title = 0;
    NameTable::Number error = 0;
    bool isPlanning = false;
    std::vector<const RecordStep*> openCalls; // by the number of the call's identifier
    std::vector<NameTable::Number> callOrder;
};

} // namespace

Transcript foldTranscript(
    std::span<const RecordStep> head, std::span<const RecordStep> tail, const NameTable& names, RecordStyle style)
{
    std::size_t entryCount = 0;
    bool hasItems = false;
    for (const auto& steps : {head, tail}) {
        for (const RecordStep& step : steps) {
            if (step.entry)
                ++entryCount;
            hasItems = hasItems || step.isItem;
        }
    }
    Fold fold(names, style, hasItems, entryCount);
    for (const RecordStep& step : head)
        fold.add(step);
    for (const RecordStep& step : tail)
        fold.add(step);
    return fold.finish();
}

} // namespace tarnel
