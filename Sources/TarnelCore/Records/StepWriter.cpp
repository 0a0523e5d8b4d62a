#include "TarnelCore/Records/StepWriter.h"
#include "TarnelCore/Records/ToolSummary.h"

namespace tarnel {

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
    RecordStep& step = steps.add(current.isItem);
    step.kind = kind;
    step.offset = current.offset;
    step.hasTime = current.at.has_value();
    step.time = current.at.value_or(Timestamp());
    step.branch = current.branch;
    return step;
}

RecordStep& StepWriter::say(EntryRole role, std::string text)
{
    RecordStep& step = add(RecordStep::Kind::entry);
    steps.addEntry({.role = role, .text = std::move(text), .timestamp = current.at});
    return step;
}

RecordStep& StepWriter::tool(std::string_view toolName, std::string_view detail, std::optional<std::string> fullDetail)
{
    RecordStep& step = add(RecordStep::Kind::entry);
    steps.addEntry({.role = EntryRole::tool,
        .text = ToolSummary::describe(toolName, detail),
        .toolName = std::string(toolName),
        .timestamp = current.at,
        .detail = std::move(fullDetail)});
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
