#include "Demo/ClaudeRecord.h"
#include "Demo/JsonText.h"
#include <filesystem>

namespace demo {

namespace {

/// The folder's name stands for the directory that the session works in.
std::string projectFolder(std::string cwd)
{
    for (char& c : cwd) {
        if (c == '/' || c == '.' || c == '_')
            c = '-';
    }
    return cwd;
}

std::string assistantMessage(const std::string& block)
{
    const std::string usage = object({{"input_tokens", "312"}, {"cache_creation_input_tokens", "1480"},
        {"cache_read_input_tokens", "43866"}, {"output_tokens", "271"}});
    return object({{"role", jsonString("assistant")}, {"type", jsonString("message")},
        {"model", jsonString("claude-opus-4-5-20251101")}, {"content", array({block})}, {"usage", usage}});
}

} // namespace

ClaudeRecord::ClaudeRecord(const std::string& sessionID)
    : session(sessionID)
    , cwd(std::filesystem::current_path())
    , file(home() + "/.claude/projects/" + projectFolder(cwd) + "/" + session + ".jsonl")
{
}

void ClaudeRecord::user(const std::string& text, Ago ago)
{
    append("user", object({{"role", jsonString("user")}, {"content", jsonString(text)}}), ago);
}

void ClaudeRecord::assistant(const std::string& text, Ago ago)
{
    append("assistant", assistantMessage(object({{"type", jsonString("text")}, {"text", jsonString(text)}})), ago);
}

void ClaudeRecord::toolUse(const std::string& name, const std::string& input, Ago ago)
{
    const std::string id = jsonString("toolu_" + std::to_string(++calls));
    append("assistant",
        assistantMessage(
            object({{"type", jsonString("tool_use")}, {"id", id}, {"name", jsonString(name)}, {"input", input}})),
        ago);
}

void ClaudeRecord::toolResult(const std::string& text, bool isError, Ago ago)
{
    const std::string block =
        object({{"type", jsonString("tool_result")}, {"tool_use_id", jsonString("toolu_" + std::to_string(calls))},
            {"content", jsonString(text)}, {"is_error", isError ? "true" : "false"}});
    append("user", object({{"role", jsonString("user")}, {"content", array({block})}}), ago);
}

void ClaudeRecord::append(const char* type, const std::string& message, Ago ago)
{
    const auto lineID = [&](int number) { return jsonString(session + "-" + std::to_string(number)); };
    const std::string parent = lines == 0 ? "null" : lineID(lines);
    ++lines;
    file.append(object({{"parentUuid", parent}, {"isSidechain", "false"}, {"userType", jsonString("external")},
        {"cwd", jsonString(cwd)}, {"sessionId", jsonString(session)}, {"version", jsonString("2.0.50")},
        {"gitBranch", jsonString("main")}, {"type", jsonString(type)}, {"message", message}, {"uuid", lineID(lines)},
        {"timestamp", jsonString(timestamp(ago))}}));
}

} // namespace demo
