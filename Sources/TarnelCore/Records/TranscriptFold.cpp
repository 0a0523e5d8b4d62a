#include "TarnelCore/Records/TranscriptFold.h"
#include "TarnelCore/Records/CodexReader.h"

namespace tarnel {

namespace {

void assign(std::optional<std::string>& text, const TranscriptEntry* entry)
{
    text = entry ? std::optional(entry->text) : std::nullopt;
}

void assign(std::optional<std::string>& text, NameTable::Number name, const NameTable& names)
{
    text = name == 0 ? std::nullopt : std::optional<std::string>(names.text(name));
}

} // namespace

void TranscriptFold::add(const StepList& steps, StepList::Place from, const NameTable& names, Transcript& transcript)
{
    openCalls.resize(names.bound());
    steps.forEach(
        from, [&](const RecordStep& step, const Shared<TranscriptEntry>* entry) { addOne(step, entry, transcript); });
}

void TranscriptFold::addOne(const RecordStep& step, const Shared<TranscriptEntry>* entry, Transcript& transcript)
{
    if (step.hasTime)
        lastActivity = step.time;
    if (step.branch != 0)
        branch = step.branch;
    if (entry)
        addEntry(step, *entry, transcript);
    switch (step.kind) {
    case RecordStep::Kind::activity:
    case RecordStep::Kind::entry:
        break;
    case RecordStep::Kind::call:
        calls.push_back({step.name, step.detailLength, step.at(), entry ? &**entry : nullptr, step.pending.get()});
        openCalls[step.name] = static_cast<std::uint32_t>(calls.size());
        break;
    case RecordStep::Kind::result:
        openCalls[step.name] = 0;
        lastOpenCall(); // so that closed ones are forgotten
        break;
    case RecordStep::Kind::title:
        title = step.name;
        break;
    case RecordStep::Kind::planMode:
    case RecordStep::Kind::workMode:
        isPlanning = step.kind == RecordStep::Kind::planMode;
        break;
    case RecordStep::Kind::turnEnd:
        hasTurnEnded = true;
        break;
    case RecordStep::Kind::error:
        error = step.name;
        break;
    }
}

void TranscriptFold::addEntry(const RecordStep& step, const Shared<TranscriptEntry>& shared, Transcript& transcript)
{
    if (step.isReplacedByItems && hasItems)
        return;
    const TranscriptEntry& entry = *shared;
    auto& entries = transcript.entries;
    const bool isSpoken = entry.role == EntryRole::user || entry.role == EntryRole::assistant;
    if (style == RecordStyle::turns && isSpoken && !entries.empty() && entries.back()->role == entry.role
        && entries.back()->text == entry.text)
        return;
    entries.push_back(shared);
    if (entry.role == EntryRole::assistant)
        lastMessage = &entry;
    if (entry.role == EntryRole::user) {
        if (!firstPrompt)
            firstPrompt = &entry;
        lastPrompt = &entry;
        hasTurnEnded = false;
        error = 0;
    }
}

/// The latest call whose result is not there. Forgets those behind it.
const TranscriptFold::Call* TranscriptFold::lastOpenCall()
{
    while (!calls.empty() && openCalls[calls.back().name] != calls.size())
        calls.pop_back();
    return calls.empty() ? nullptr : &calls.back();
}

void TranscriptFold::finish(const NameTable& names, Transcript& transcript)
{
    transcript.lastActivity = lastActivity;
    assign(transcript.branch, branch, names);
    assign(transcript.title, title, names);
    assign(transcript.errorMessage, error, names);
    assign(transcript.firstUserPrompt, firstPrompt);
    assign(transcript.lastUserPrompt, lastPrompt);
    assign(transcript.lastAssistantMessage, lastMessage);
    transcript.pending.reset();
    transcript.pendingSince.reset();
    if (style == RecordStyle::calls)
        finishCalls(transcript);
    else
        finishTurns(transcript);
}

void TranscriptFold::finishCalls(Transcript& transcript)
{
    if (const Call* call = lastOpenCall()) {
        if (call->pending)
            transcript.pending = *call->pending;
        else
            transcript.pending = PendingPermission{.tool = call->entry->toolName.value_or(""),
                .detail = call->entry->text.substr(call->entry->text.size() - call->detailLength)};
        transcript.pendingSince = call->at;
    }
    transcript.turnFinished =
        !transcript.pending && !transcript.entries.empty() && transcript.entries.back()->role == EntryRole::assistant;
}

void TranscriptFold::finishTurns(Transcript& transcript)
{
    transcript.turnFinished = hasTurnEnded;
    const Call* call = lastOpenCall();
    if (call && call->pending) {
        transcript.pending = *call->pending;
        transcript.pendingSince = call->at;
        return;
    }
    const auto& message = transcript.lastAssistantMessage;
    if (!hasTurnEnded || transcript.errorMessage || !message)
        return;
    auto plan = CodexReader::proposedPlan(*message);
    if (!plan && isPlanning)
        plan = *message;
    if (plan) {
        transcript.pending = PendingPlan{*std::move(plan)};
        transcript.pendingSince = transcript.lastActivity;
    }
}

} // namespace tarnel
