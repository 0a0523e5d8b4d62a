#include "TarnelCore/Records/CodexReader.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Records/ClaudeReader.h"
#include "TarnelCore/Records/ViewMembers.h"
#include <algorithm>

namespace tarnel::CodexReader {

namespace {

/// The tools whose calls are also reported as completed items.
constexpr std::array shellTools{"exec_command"sv, "shell"sv, "write_stdin"sv, "local_shell"sv};
constexpr std::string_view questionTool = "request_user_input";

/// Adds what the user said; returns its step, or null when it was nothing of the user's own.
RecordStep* addUserText(std::string_view text, StepWriter& out)
{
    std::string cleaned = cleanUserText(text);
    if (cleaned.empty() || cleaned.starts_with("# AGENTS.md") || cleaned.starts_with("<environment"))
        return nullptr;
    return &out.say(EntryRole::user, std::move(cleaned));
}

RecordStep* addAssistantText(std::string_view text, StepWriter& out)
{
    const std::string_view trimmed = Text::trimmed(text);
    return trimmed.empty() ? nullptr : &out.say(EntryRole::assistant, std::string(trimmed));
}

void markReplaced(RecordStep* step)
{
    if (step)
        step->isReplacedByItems = true;
}

/// The command line of a list of arguments; of a shell that was started for a command, that command.
std::string commandOf(const std::optional<JSONView>& list)
{
    std::vector<std::string_view> words;
    if (list)
        list->forEachElement([&](const JSONView& element) {
            if (const auto word = element.string())
                words.push_back(*word);
        });
    if (words.size() >= 3 && words[1] == "-lc")
        return std::string(words[2]);
    return Text::joined(words, " ");
}

std::string changedPaths(const std::optional<JSONView>& changes)
{
    std::vector<std::string_view> paths;
    if (changes)
        changes->forEachMember([&](std::string_view path, const JSONView&) { paths.push_back(path); });
    std::sort(paths.begin(), paths.end());
    paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
    return Text::joined(paths, " ");
}

void readItem(const std::optional<JSONView>& item, StepWriter& out)
{
    const auto type = stringOf(memberOf(item, "type"));
    if (type == "UserMessage") {
        addUserText(joinedTexts(memberOf(item, "content")), out);
    } else if (type == "AgentMessage") {
        addAssistantText(joinedTexts(memberOf(item, "content")), out);
    } else if (type == "CommandExecution") {
        out.tool("exec_command", JSON::object({{"command", commandOf(memberOf(item, "command"))}}));
    } else if (type == "FileChange" || type == "PatchApply") {
        out.tool("apply_patch", JSON::object({{"path", changedPaths(memberOf(item, "changes"))}}));
    } else if (type == "Extension") {
        const std::string_view kind = stringOf(memberOf(item, "kind")).value_or("extension");
        const auto query = memberOf(item, "query");
        out.tool(kind == "web.search" ? "websearch" : kind, JSON::object({{"query", query ? query->value() : JSON()}}));
    }
}

void readTaskEnd(const JSONView& payload, StepWriter& out)
{
    addAssistantText(stringOf(payload["last_agent_message"]).value_or(""), out);
    if (const auto message = stringOf(memberOf(payload["error"], "message")))
        out.error(*message);
    out.turnEnd();
}

void readEvent(const JSONView& payload, StepWriter& out)
{
    const auto type = stringOf(payload["type"]);
    if (type == "user_message") {
        markReplaced(addUserText(stringOf(payload["message"]).value_or(""), out));
    } else if (type == "agent_message") {
        markReplaced(addAssistantText(stringOf(payload["message"]).value_or(""), out));
    } else if (type == "task_complete") {
        readTaskEnd(payload, out);
    } else if (type == "turn_aborted") {
        out.interrupted();
        out.turnEnd();
    } else if (type == "error") {
        if (const auto message = stringOf(payload["message"]))
            out.error(*message);
    } else if (type == "item_completed") {
        out.item();
        readItem(payload["item"], out);
    }
}

void readCall(const JSONView& payload, StepWriter& out)
{
    const auto [nameValue, arguments, input, id] = membersOf(payload, {"name", "arguments", "input", "call_id"});
    const std::string_view name = stringOf(nameValue).value_or("tool");
    const auto decoded = arguments ? decodedArguments(arguments) : input;
    const auto call = stringOf(id);
    if (name == questionTool) {
        if (!call)
            return;
        RecordStep& step = out.add(RecordStep::Kind::call);
        out.open(step, *call);
        step.pending =
            std::make_unique<Pending>(PendingQuestion{decoded ? questions(*decoded) : std::vector<Question>()});
        return;
    }
    RecordStep& step = out.tool(name, decoded);
    step.isReplacedByItems = std::find(shellTools.begin(), shellTools.end(), name) != shellTools.end();
    if (call)
        out.open(step, *call);
}

void readResponse(const JSONView& payload, StepWriter& out)
{
    const auto type = stringOf(payload["type"]);
    if (type == "function_call" || type == "custom_tool_call") {
        readCall(payload, out);
    } else if (type == "function_call_output" || type == "custom_tool_call_output") {
        if (const auto call = stringOf(payload["call_id"]))
            out.result(*call);
    }
}

} // namespace

void readLine(const JSONView& line, StepWriter& out)
{
    const auto [type, timestamp, payload] = membersOf(line, {"type", "timestamp", "payload"});
    out.at(parseDate(stringOf(timestamp)));
    const auto kind = stringOf(type);
    if (kind == "turn_context") {
        const auto mode = memberOf(memberOf(payload, "collaboration_mode"), "mode");
        out.mode(stringOf(mode) == "plan");
    } else if (!payload) {
        return;
    } else if (kind == "session_meta") {
        if (const auto branch = stringOf(memberOf((*payload)["git"], "branch")))
            out.branch(*branch);
    } else if (kind == "event_msg") {
        readEvent(*payload, out);
    } else if (kind == "response_item") {
        readResponse(*payload, out);
    }
}

std::vector<Question> questions(const JSONView& arguments)
{
    std::vector<Question> found = ClaudeReader::questions(arguments);
    auto question = found.begin();
    if (const auto elements = arguments["questions"])
        elements->forEachElement([&](const JSONView& element) { (question++)->id = textOf(element["id"]); });
    return found;
}

std::optional<std::string> proposedPlan(std::string_view text)
{
    constexpr std::string_view open = "<proposed_plan>";
    const std::size_t start = text.find(open);
    const std::size_t end = text.find("</proposed_plan>");
    if (start == text.npos || end == text.npos || end < start + open.size())
        return std::nullopt;
    return std::string(Text::trimmed(text.substr(start + open.size(), end - start - open.size())));
}

std::optional<JSONView> decodedArguments(const std::optional<JSONView>& arguments)
{
    static thread_local JSONDocument document; // its own: the line is still being read from another
    const auto text = stringOf(arguments);
    const auto decoded = text ? document.parse(*text) : std::nullopt;
    return decoded ? decoded : arguments;
}

} // namespace tarnel::CodexReader
