#include "TarnelCore/Records/RecordSteps.h"
#include "TarnelCore/Records/ToolSummary.h"

namespace tarnel {

NameTable::Number NameTable::number(std::string_view text)
{
    if (const auto known = numbers.find(text); known != numbers.end())
        return known->second;
    const auto number = static_cast<Number>(bound());
    numbers.emplace(texts.emplace_back(text), number);
    return number;
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
    step.entry = TranscriptEntry{.role = role, .text = std::move(text), .timestamp = current.at};
    return step;
}

RecordStep& StepWriter::tool(std::string_view toolName, std::string_view detail, std::optional<std::string> fullDetail)
{
    RecordStep& step = add(RecordStep::Kind::entry);
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
