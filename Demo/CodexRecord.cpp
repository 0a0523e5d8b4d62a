#include "Demo/CodexRecord.h"
#include "Demo/JsonText.h"
#include <filesystem>

namespace demo {

CodexRecord::CodexRecord(const std::string& session, Ago ago)
    : file(home() + "/.codex/sessions/" + formattedNow("%Y/%m/%d/rollout-%Y-%m-%dT%H-%M-%S-") + session + ".jsonl")
{
    append("session_meta",
        object({{"id", jsonString(session)}, {"timestamp", jsonString(timestamp(ago))},
            {"cwd", jsonString(std::filesystem::current_path().string())}, {"originator", jsonString("codex_cli")},
            {"git", object({{"branch", jsonString("main")}})}}),
        ago);
    append("turn_context",
        object({{"cwd", jsonString(std::filesystem::current_path().string())}, {"model", jsonString("model-x")},
            {"effort", jsonString("high")}, {"collaboration_mode", object({{"mode", jsonString("default")}})}}),
        ago);
}

void CodexRecord::user(const std::string& text, Ago ago)
{
    append("event_msg", object({{"type", jsonString("user_message")}, {"message", jsonString(text)}}), ago);
}

void CodexRecord::assistant(const std::string& text, Ago ago)
{
    append("event_msg", object({{"type", jsonString("agent_message")}, {"message", jsonString(text)}}), ago);
}

void CodexRecord::functionCall(const std::string& name, const std::string& arguments, Ago ago)
{
    append("response_item",
        object({{"type", jsonString("function_call")}, {"name", jsonString(name)}, {"arguments", jsonString(arguments)},
            {"call_id", jsonString("call_" + std::to_string(++calls))}}),
        ago);
}

void CodexRecord::functionOutput(const std::string& output, Ago ago)
{
    append("response_item",
        object({{"type", jsonString("function_call_output")}, {"call_id", jsonString("call_" + std::to_string(calls))},
            {"output", jsonString(output)}}),
        ago);
}

void CodexRecord::tokenCount(int tokens, Ago ago)
{
    const std::string info = object(
        {{"last_token_usage", object({{"total_tokens", std::to_string(tokens)}})}, {"model_context_window", "272000"}});
    const std::string limits = object({{"primary", object({{"used_percent", "42"}, {"window_minutes", "300"}})}});
    append("event_msg", object({{"type", jsonString("token_count")}, {"info", info}, {"rate_limits", limits}}), ago);
}

void CodexRecord::error(const std::string& message, Ago ago)
{
    append("event_msg", object({{"type", jsonString("error")}, {"message", jsonString(message)}}), ago);
}

void CodexRecord::taskComplete(const std::string& lastMessage, Ago ago)
{
    append("event_msg",
        object({{"type", jsonString("task_complete")},
            {"last_agent_message", lastMessage.empty() ? "null" : jsonString(lastMessage)}}),
        ago);
}

void CodexRecord::append(const char* type, const std::string& payload, Ago ago)
{
    file.append(object({{"timestamp", jsonString(timestamp(ago))}, {"type", jsonString(type)}, {"payload", payload}}));
}

} // namespace demo
