#include "TarnelCore/Records/ClaudeReader.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Records/ViewMembers.h"

namespace tarnel::ClaudeReader {

namespace {

void addUserText(std::string_view text, StepWriter& out)
{
    if (text.starts_with("[Request interrupted"))
        return out.interrupted();
    std::string cleaned = cleanUserText(text);
    if (cleaned.empty())
        return;
    if (text.find("<local-command-stdout>") != text.npos || text.find("<local-command-caveat>") != text.npos)
        return;
    out.say(EntryRole::user, std::move(cleaned));
}

void readUserContent(const JSONView& content, StepWriter& out)
{
    if (const auto text = content.string())
        return addUserText(*text, out);
    content.forEachElement([&](const JSONView& block) {
        const auto [type, text, call] = membersOf(block, {"type", "text", "tool_use_id"});
        const auto kind = stringOf(type);
        if (kind == "text") {
            addUserText(stringOf(text).value_or(""), out);
        } else if (kind == "tool_result") {
            if (const auto id = stringOf(call))
                out.result(*id);
        }
    });
}

/// What a call waits for when it does not wait for permission.
std::unique_ptr<const Pending> pendingOf(std::string_view toolName, const std::optional<JSONView>& input)
{
    if (toolName == "AskUserQuestion")
        return std::make_unique<Pending>(PendingQuestion{input ? questions(*input) : std::vector<Question>()});
    if (toolName == "ExitPlanMode")
        return std::make_unique<Pending>(PendingPlan{textOf(memberOf(input, "plan")).value_or("")});
    return nullptr;
}

void readAssistantContent(const JSONView& content, StepWriter& out)
{
    content.forEachElement([&](const JSONView& block) {
        const auto [type, text, name, input, id] = membersOf(block, {"type", "text", "name", "input", "id"});
        const auto kind = stringOf(type);
        if (kind == "text") {
            const std::string_view trimmed = Text::trimmed(stringOf(text).value_or(""));
            if (!trimmed.empty())
                out.say(EntryRole::assistant, std::string(trimmed));
        } else if (kind == "tool_use") {
            const std::string_view toolName = stringOf(name).value_or("tool");
            RecordStep& step = out.tool(toolName, input);
            if (const auto call = stringOf(id)) {
                out.open(step, *call);
                step.pending = pendingOf(toolName, input);
            }
        }
    });
}

} // namespace

void readLine(const JSONView& line, StepWriter& out)
{
    const auto [type, isSidechain, timestamp, gitBranch, isMeta, message, summary] =
        membersOf(line, {"type", "isSidechain", "timestamp", "gitBranch", "isMeta", "message", "summary"});
    const auto kind = stringOf(type);
    if (kind == "summary") {
        if (const auto title = stringOf(summary))
            out.title(*title);
    }
    const bool isUser = kind == "user";
    if ((!isUser && kind != "assistant") || isTrue(isSidechain))
        return;
    out.at(parseDate(stringOf(timestamp)));
    if (const auto branch = stringOf(gitBranch); branch && !branch->empty())
        out.branch(*branch);
    const auto content = memberOf(message, "content");
    if (!content)
        return;
    if (!isUser)
        readAssistantContent(*content, out);
    else if (!isTrue(isMeta))
        readUserContent(*content, out);
}

std::vector<Question> questions(const JSONView& input)
{
    std::vector<Question> found;
    const auto elements = input["questions"];
    if (!elements)
        return found;
    elements->forEachElement([&](const JSONView& element) {
        const auto [header, text, options, multiSelect] =
            membersOf(element, {"header", "question", "options", "multiSelect"});
        Question question{.id = std::nullopt,
            .header = textOf(header),
            .text = textOf(text).value_or(""),
            .options = {},
            .multiSelect = isTrue(multiSelect)};
        if (options)
            options->forEachElement([&](const JSONView& option) {
                question.options.push_back(
                    {.label = textOf(option["label"]).value_or(""), .detail = textOf(option["description"])});
            });
        found.push_back(std::move(question));
    });
    return found;
}

} // namespace tarnel::ClaudeReader
