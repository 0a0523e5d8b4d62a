#include "TarnelCore/Records/GrokReader.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Records/CodexReader.h"
#include "TarnelCore/Records/ViewMembers.h"

namespace tarnel::GrokReader {

namespace {

void readUser(const std::optional<JSONView>& content, StepWriter& out)
{
    const auto text = stringOf(content);
    std::string cleaned = text ? cleanUserText(*text) : cleanUserText(joinedTexts(content));
    if (!cleaned.empty())
        out.say(EntryRole::user, std::move(cleaned));
}

void readCall(const JSONView& call, StepWriter& out)
{
    const auto [function, ownName, ownArguments, id] = membersOf(call, {"function", "name", "arguments", "id"});
    const auto [innerName, innerArguments] = membersOf(function, {"name", "arguments"});
    const auto inner = stringOf(innerName);
    const std::string_view name = inner ? *inner : stringOf(ownName).value_or("tool");
    const auto arguments = CodexReader::decodedArguments(innerArguments ? innerArguments : ownArguments);
    RecordStep& step = out.tool(name, arguments);
    const auto identifier = stringOf(id);
    if (!identifier)
        return;
    out.open(step, *identifier);
    if (name.find("ask") != name.npos || name.find("question") != name.npos)
        step.pending = std::make_unique<Pending>(
            PendingQuestion{arguments ? CodexReader::questions(*arguments) : std::vector<Question>()});
}

void readAssistant(const std::optional<JSONView>& content, const std::optional<JSONView>& calls, StepWriter& out)
{
    const std::string_view text = Text::trimmed(stringOf(content).value_or(""));
    if (!text.empty())
        out.say(EntryRole::assistant, std::string(text));
    if (calls)
        calls->forEachElement([&](const JSONView& call) { readCall(call, out); });
}

/// The session's own summary, even an empty one, stands before the generated title.
std::optional<std::string> titleOf(const JSONView& metadata)
{
    auto title = textOf(metadata["session_summary"]);
    if (!title)
        title = textOf(metadata["generated_title"]);
    return title && !title->empty() ? title : std::nullopt;
}

} // namespace

void readLine(const JSONView& line, StepWriter& out)
{
    const auto [type, content, calls, call] = membersOf(line, {"type", "content", "tool_calls", "tool_call_id"});
    const auto kind = stringOf(type);
    if (kind == "user") {
        readUser(content, out);
    } else if (kind == "assistant") {
        readAssistant(content, calls, out);
    } else if (kind == "tool_result") {
        if (const auto identifier = stringOf(call))
            out.result(*identifier);
    }
}

void Summary::apply(Transcript& transcript) const
{
    if (title)
        transcript.title = title;
    if (branch)
        transcript.branch = branch;
    if (lastActivity)
        transcript.lastActivity = lastActivity;
}

Summary readSummary(const std::string& path)
{
    const auto text = Files::read(path);
    const auto metadata = text ? JSONDocument::shared().parse(*text) : std::nullopt;
    if (!metadata)
        return {};
    return {.title = titleOf(*metadata),
        .branch = textOf((*metadata)["head_branch"]),
        .lastActivity = parseDate(stringOf((*metadata)["last_active_at"]))};
}

} // namespace tarnel::GrokReader
