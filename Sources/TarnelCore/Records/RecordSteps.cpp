#include "TarnelCore/Records/RecordSteps.h"
#include "TarnelCore/Records/ToolSummary.h"
#include <algorithm>
#include <functional>

namespace tarnel {

namespace {

/// The texts are identifiers of some thirty bytes.
constexpr std::size_t blockSize = 4'096;
constexpr std::size_t fewestSlots = 64;

} // namespace

NameTable::Number NameTable::number(std::string_view text)
{
    if (2 * texts.size() >= slots.size())
        widen();
    const std::size_t hash = std::hash<std::string_view>()(text);
    for (std::size_t at = hash & (slots.size() - 1);; at = (at + 1) & (slots.size() - 1)) {
        const Number number = slots[at];
        if (number == 0) {
            texts.push_back({kept(text), hash});
            return slots[at] = static_cast<Number>(texts.size());
        }
        if (texts[number - 1].hash == hash && texts[number - 1].text == text)
            return number;
    }
}

std::string_view NameTable::kept(std::string_view text)
{
    if (text.size() > room) {
        room = std::max(blockSize, text.size());
        blocks.push_back(std::make_unique_for_overwrite<char[]>(room));
        blockEnd = blocks.back().get() + room;
    }
    char* const place = blockEnd - room;
    text.copy(place, text.size());
    room -= text.size();
    return {place, text.size()};
}

void NameTable::widen()
{
    slots.assign(std::max(fewestSlots, 2 * slots.size()), 0);
    Number number = 0;
    for (const Name& name : texts) {
        std::size_t at = name.hash & (slots.size() - 1);
        while (slots[at] != 0)
            at = (at + 1) & (slots.size() - 1);
        slots[at] = ++number;
    }
}

void StepWriter::beginLine(std::uint64_t offset)
{
    current = {};
    current.offset = offset;
}

void StepWriter::endLine()
{
    if (!current.isTold && (current.at || current.branch != 0 || current.isItem))
        add(RecordStep::Kind::activity);
}

void StepWriter::branch(std::string_view name)
{
    if (lastBranch == 0 || names.text(lastBranch) != name)
        lastBranch = names.number(name);
    current.branch = lastBranch;
}

RecordStep& StepWriter::add(RecordStep::Kind kind)
{
    current.isTold = true;
    RecordStep& step = steps.emplace_back();
    step.kind = kind;
    step.offset = current.offset;
    step.at = current.at;
    step.branch = current.branch;
    step.isItem = current.isItem;
    return step;
}

RecordStep& StepWriter::say(EntryRole role, std::string text)
{
    RecordStep& step = add(RecordStep::Kind::entry);
    step.role = role;
    step.entry = TranscriptEntry{.role = role, .text = std::move(text), .timestamp = current.at};
    return step;
}

RecordStep& StepWriter::tool(std::string_view toolName, std::string_view detail, std::optional<std::string> fullDetail)
{
    RecordStep& step = add(RecordStep::Kind::entry);
    step.role = EntryRole::tool;
    step.entry = TranscriptEntry{.role = EntryRole::tool,
        .text = ToolSummary::describe(toolName, detail),
        .toolName = std::string(toolName),
        .timestamp = current.at,
        .detail = std::move(fullDetail)};
    step.detailLength = static_cast<std::uint32_t>(detail.size());
    return step;
}

RecordStep& StepWriter::tool(std::string_view toolName, const std::optional<JSONView>& input)
{
    if (!input)
        return tool(toolName, "", std::nullopt);
    return tool(toolName, ToolSummary::detail(*input, home), ToolSummary::fullDetail(*input));
}

RecordStep& StepWriter::tool(std::string_view toolName, const JSON& input)
{
    return tool(toolName, ToolSummary::detail(input, home), ToolSummary::fullDetail(input));
}

void StepWriter::open(RecordStep& step, std::string_view call)
{
    step.kind = RecordStep::Kind::call;
    step.name = names.number(call);
}

} // namespace tarnel
