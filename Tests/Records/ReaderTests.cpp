#include "Support/TemporaryFolder.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Records/CodexReader.h"
#include "TarnelCore/Records/GrokReader.h"
#include "TarnelCore/Records/RecordHistory.h"
#include <gtest/gtest.h>

namespace tarnel {

namespace {

using Kind = RecordPlace::Kind;

/// A transcript in short: its entries, what is pending, and the fields that are set, a line each.
std::string told(const Transcript& transcript)
{
    std::string text;
    for (const Shared<TranscriptEntry>& entry : transcript.entries)
        text += std::string(nameOf(entry->role)) + ": " + entry->text + "\n";
    if (transcript.pending) {
        const bool isQuestion = std::holds_alternative<PendingQuestion>(*transcript.pending);
        const bool isPlan = std::holds_alternative<PendingPlan>(*transcript.pending);
        text += (isQuestion ? "question " : isPlan ? "plan " : "permission ") + identityText(*transcript.pending);
        if (transcript.pendingSince)
            text += " since " + iso8601(*transcript.pendingSince).substr(11);
        text += "\n";
    }
    if (transcript.turnFinished)
        text += "finished\n";
    const auto field = [&](const char* name, const std::optional<std::string>& value) {
        if (value)
            text += name + *value + "\n";
    };
    field("first=", transcript.firstUserPrompt);
    field("last=", transcript.lastUserPrompt);
    field("message=", transcript.lastAssistantMessage);
    field("title=", transcript.title);
    field("error=", transcript.errorMessage);
    field("branch=", transcript.branch);
    if (transcript.lastActivity)
        text += "activity=" + iso8601(*transcript.lastActivity).substr(11) + "\n";
    return text;
}

struct Case {
    const char* what;
    std::string lines;
    std::string told;
};

void check(Kind kind, std::span<const Case> cases)
{
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(told(parseTranscript(kind, Text::split(c.lines, '\n'), "/home/ann")), c.told);
    }
}

std::string claude(std::string_view type, std::string_view second, std::string_view content, std::string_view more = "")
{
    return R"({"type":")" + std::string(type) + R"(","timestamp":"2026-01-01T00:00:)" + std::string(second) + R"(Z")"
        + std::string(more) + R"(,"message":{"content":)" + std::string(content) + "}}\n";
}

TEST(ClaudeReader, understandsRecords)
{
    const std::string call =
        claude("assistant", "01", R"([{"type":"tool_use","id":"a","name":"Bash","input":{"command":"ls /home/ann"}}])");
    const std::string result = claude("user", "02", R"([{"type":"tool_result","tool_use_id":"a"}])");
    const std::string said = claude("assistant", "03", R"([{"type":"thinking"},{"type":"text","text":" Done. "}])");
    const std::string ask = claude("assistant", "04",
        R"([{"type":"tool_use","id":"q","name":"AskUserQuestion","input":{"questions":)"
        R"([{"question":"A?","options":[{"label":"x"},{"label":"y"}]},7]}}])");
    const Case cases[] = {
        {"nothing", "", ""},
        {"an open call waits", call,
            "tool: Ran ls /home/ann\npermission Bash|ls /home/ann since 00:00:01Z\nactivity=00:00:01Z\n"},
        {"a result closes it", call + result + said,
            "tool: Ran ls /home/ann\nassistant: Done.\nfinished\nmessage=Done.\nactivity=00:00:03Z\n"},
        {"the later call decides", call + ask,
            "tool: Ran ls /home/ann\ntool: Asked\nquestion A?|x,y||| since 00:00:04Z\nactivity=00:00:04Z\n"},
        {"an earlier one when the later is closed", ask + call + result,
            "tool: Asked\ntool: Ran ls /home/ann\nquestion A?|x,y||| since 00:00:04Z\nactivity=00:00:02Z\n"},
        {"an identifier that is used again", call + result + call,
            "tool: Ran ls /home/ann\ntool: Ran ls /home/ann\npermission Bash|ls /home/ann since "
            "00:00:01Z\nactivity=00:00:01Z\n"},
        {"a plan",
            claude("assistant", "05", R"([{"type":"tool_use","id":"p","name":"ExitPlanMode","input":{"plan":"# P"}}])"),
            "tool: Planned # P\nplan # P since 00:00:05Z\nactivity=00:00:05Z\n"},
        {"a call without identifier, name and input", claude("assistant", "06", R"([{"type":"tool_use"}])"),
            "tool: tool\nactivity=00:00:06Z\n"},
        {"mistyped members",
            claude(
                "assistant", "07", R"([{"type":"tool_use","id":"m","name":7,"input":"x"},{"type":"text","text":7},8])"),
            "tool: tool x\npermission tool|x since 00:00:07Z\nactivity=00:00:07Z\n"},
        {"a meta line moves branch and time only",
            claude("user", "08", R"("hidden")", R"(,"isMeta":true,"gitBranch":"main")"),
            "branch=main\nactivity=00:00:08Z\n"},
        {"an empty branch is none, a side chain nothing",
            claude("user", "09", R"("a")", R"(,"gitBranch":"b")") + claude("user", "10", R"("b")", R"(,"gitBranch":"")")
                + claude("user", "11", R"("c")", R"(,"isSidechain":true,"gitBranch":"d")"),
            "user: a\nuser: b\nfirst=a\nlast=b\nbranch=b\nactivity=00:00:10Z\n"},
        {"an interruption", said + claude("user", "12", R"([{"type":"text","text":"[Request interrupted by user]"}])"),
            "assistant: Done.\nsystem: Interrupted\nmessage=Done.\nactivity=00:00:12Z\n"},
        {"commands' output and caveats are left out",
            claude("user", "13", R"("<local-command-stdout>x</local-command-stdout>")")
                + claude("user", "13", R"("a<local-command-caveat>x</local-command-caveat>")")
                + claude("user", "13", R"([{"type":"text"},{"type":"text","text":"<rules>x</rules>"}])"),
            "activity=00:00:13Z\n"},
        {"titles",
            "{\"type\":\"summary\",\"summary\":\"a\"}\n{\"type\":\"summary\",\"summary\":\"b\"}\n{\"type\":"
            "\"summary\"}",
            "title=b\n"},
        {"other lines",
            "7\nnull\n[]\n{oops\n{\"type\":7}\n{\"type\":\"user\",\"timestamp\":7}\n{\"type\":\"user\",\"message\":"
            "\"x\"}",
            ""},
        {"text as a string is not the assistant's", claude("assistant", "14", R"("x")"), "activity=00:00:14Z\n"},
    };
    check(Kind::claude, cases);

    const std::string_view line(ask);
    const Transcript transcript = parseTranscript(Kind::claude, std::span(&line, 1), "");
    const auto& questions = std::get<PendingQuestion>(*transcript.pending).questions;
    ASSERT_EQ(questions.size(), 2);
    EXPECT_EQ(questions[0].options[1].label, "y");
    EXPECT_EQ(questions[1], Question{});
    EXPECT_EQ(transcript.entries[0]->toolName, "AskUserQuestion");
    EXPECT_EQ(transcript.entries[0]->timestamp, transcript.lastActivity);
}

std::string codex(std::string_view type, std::string_view second, std::string_view payload)
{
    return R"({"timestamp":"2026-01-01T00:00:)" + std::string(second) + R"(Z","type":")" + std::string(type)
        + R"(","payload":)" + std::string(payload) + "}\n";
}
std::string event(std::string_view second, std::string_view payload) { return codex("event_msg", second, payload); }
std::string item(std::string_view second, std::string_view item)
{
    return event(second, R"({"type":"item_completed","item":)" + std::string(item) + "}");
}
std::string response(std::string_view second, std::string_view payload)
{
    return codex("response_item", second, payload);
}

TEST(CodexReader, understandsRecords)
{
    const std::string user = event("01", R"({"type":"user_message","message":"do it"})");
    const std::string agent = event("02", R"({"type":"agent_message","message":"Done"})");
    const std::string agentItem = item("02", R"({"type":"AgentMessage","content":[{"text":"Done"}]})");
    const std::string end = event("03", R"({"type":"task_complete","last_agent_message":"Done"})");
    const std::string shell = response(
        "04", R"({"type":"function_call","name":"exec_command","arguments":"{\"cmd\":\"ls\"}","call_id":"s"})");
    const std::string ask = response("05",
        R"({"type":"function_call","name":"request_user_input","call_id":"q","arguments":)"
        R"("{\"questions\":[{\"id\":\"i\",\"question\":\"A?\"}]}"})");
    const std::string answer = response("06", R"({"type":"function_call_output","call_id":"q"})");
    const std::string planMode = codex("turn_context", "07", R"({"collaboration_mode":{"mode":"plan"}})");
    const std::string workMode = codex("turn_context", "07", R"({"collaboration_mode":"plan"})");
    const std::string failed =
        event("08", R"({"type":"task_complete","last_agent_message":"","error":{"message":"no"}})");
    const std::string said = "user: do it\nassistant: Done\n";
    const std::string fields = "first=do it\nlast=do it\nmessage=Done\n";
    const Case cases[] = {
        {"the end repeats the last message", user + agent + end, said + "finished\n" + fields + "activity=00:00:03Z\n"},
        {"a prompt typed twice", user + user, "user: do it\nfirst=do it\nlast=do it\nactivity=00:00:01Z\n"},
        {"items replace events wherever they stand", user + agent + agentItem,
            "assistant: Done\nmessage=Done\nactivity=00:00:02Z\n"},
        {"an item of a kind unknown replaces them too", user + item("09", "7"), "activity=00:00:09Z\n"},
        {"a shell call", shell, "tool: Ran ls\nactivity=00:00:04Z\n"},
        {"a shell call told by an item",
            shell + item("09", R"({"type":"CommandExecution","command":["bash","-lc","ls -la",1]})"),
            "tool: Ran ls -la\nactivity=00:00:09Z\n"},
        {"other items",
            item("09", R"({"type":"UserMessage","content":[{"text":"a"},7,{"text":"b"}]})")
                + item("09", R"({"type":"CommandExecution","command":["ls",7,"-la"]})")
                + item("09", R"({"type":"PatchApply","changes":{"b":1,"a":2}})")
                + item("09", R"({"type":"FileChange","changes":7})")
                + item("09", R"({"type":"Extension","kind":"web.search","query":"q"})")
                + item("09", R"({"type":"Extension"})"),
            "user: a\nb\ntool: Ran ls -la\ntool: Edited a b\ntool: Edited\ntool: Searched q\ntool: extension\n"
            "first=a\nb\nlast=a\nb\nactivity=00:00:09Z\n"},
        {"a question, and a call behind it that waits for nothing",
            ask + response("09", R"({"type":"custom_tool_call","name":"apply_patch","input":"x","call_id":"c"})"),
            "tool: Edited x\nactivity=00:00:09Z\n"},
        {"a question", ask, "question A?| since 00:00:05Z\nactivity=00:00:05Z\n"},
        {"an answered question", ask + answer, "activity=00:00:06Z\n"},
        {"arguments of all kinds",
            response("09", R"({"type":"function_call","name":"x","arguments":"not JSON"})")
                + response("09", R"({"type":"function_call","name":"x","arguments":{"path":"p"},"input":"i"})")
                + response("09", R"({"type":"function_call","name":"x","arguments":null,"input":"i"})")
                + response("09", R"({"type":"custom_tool_call","name":7})") + response("09", "7"),
            "tool: x not JSON\ntool: x p\ntool: x\ntool: tool\nactivity=00:00:09Z\n"},
        {"a plan between tags",
            event(
                "01", R"({"type":"task_complete","last_agent_message":"So <proposed_plan>\n1. a\n</proposed_plan>"})"),
            "assistant: So <proposed_plan>\n1. a\n</proposed_plan>\nplan 1. a since 00:00:01Z\nfinished\n"
            "message=So <proposed_plan>\n1. a\n</proposed_plan>\nactivity=00:00:01Z\n"},
        {"a plan without tags", planMode + end,
            "assistant: Done\nplan Done since 00:00:03Z\nfinished\nmessage=Done\nactivity=00:00:03Z\n"},
        {"the last mode counts", planMode + workMode + end,
            "assistant: Done\nfinished\nmessage=Done\nactivity=00:00:03Z\n"},
        {"no plan before the turn ends", planMode + agent, "assistant: Done\nmessage=Done\nactivity=00:00:02Z\n"},
        {"a failed turn is no plan", planMode + agent + failed,
            "assistant: Done\nfinished\nmessage=Done\nerror=no\nactivity=00:00:08Z\n"},
        {"the next prompt clears the error", failed + event("09", R"({"type":"error","message":7})") + user,
            "user: do it\nfirst=do it\nlast=do it\nactivity=00:00:01Z\n"},
        {"the same prompt after an error is the same prompt",
            user + event("09", R"({"type":"error","message":"no"})") + user,
            "user: do it\nfirst=do it\nlast=do it\nerror=no\nactivity=00:00:01Z\n"},
        {"an aborted turn", user + event("09", R"({"type":"turn_aborted"})") + user,
            "user: do it\nsystem: Interrupted\nuser: do it\nfirst=do it\nlast=do it\nactivity=00:00:01Z\n"},
        {"what agents insert",
            event("09", R"({"type":"user_message","message":"# AGENTS.md x"})")
                + event("09", R"({"type":"user_message","message":"<environment x"})")
                + event("09", R"({"type":"user_message"})"),
            "activity=00:00:09Z\n"},
        {"the branch",
            codex("session_meta", "09", R"({"git":{"branch":"main"}})") + codex("session_meta", "09", R"({"git":7})"),
            "branch=main\nactivity=00:00:09Z\n"},
        {"the time of any line counts", R"({"timestamp":"2026-01-01T00:00:09Z"})", "activity=00:00:09Z\n"},
        {"other lines", "7\n{oops\n[]\n{\"type\":\"event_msg\"}\n{\"type\":\"response_item\",\"payload\":[]}", ""},
    };
    check(Kind::codex, cases);

    const std::string_view line(ask);
    const Transcript transcript = parseTranscript(Kind::codex, std::span(&line, 1), "");
    EXPECT_EQ(std::get<PendingQuestion>(*transcript.pending).questions.at(0).id, "i");
    EXPECT_EQ(CodexReader::proposedPlan("</proposed_plan><proposed_plan>"), std::nullopt);
    EXPECT_EQ(CodexReader::proposedPlan("<proposed_plan> </proposed_plan>"), "");
}

TEST(GrokReader, understandsRecords)
{
    const std::string call =
        R"({"type":"assistant","content":"","tool_calls":[{"id":"a","function":{"name":"read_file",)"
        R"("arguments":"{\"path\":\"a.txt\"}"}}]})"
        "\n";
    const std::string said = "{\"type\":\"assistant\",\"content\":\" Done \"}\n";
    const Case cases[] = {
        {"an open call", call + said, "tool: Read a.txt\nassistant: Done\npermission read_file|a.txt\nmessage=Done\n"},
        {"a closed call", call + "{\"type\":\"tool_result\",\"tool_call_id\":\"a\"}\n" + said,
            "tool: Read a.txt\nassistant: Done\nfinished\nmessage=Done\n"},
        {"a question",
            R"({"type":"assistant","tool_calls":[{"id":"q","name":"ask_user","arguments":{"questions":[{"question":"A?"}]}}]})",
            "tool: ask_user\nquestion A?|\n"},
        {"calls of all shapes",
            R"({"type":"assistant","tool_calls":[7,{"function":{"name":7},"name":"x","arguments":"{"},{"arguments":"\"p\""}]})",
            "tool: tool\ntool: x {\ntool: tool p\n"},
        {"users",
            R"({"type":"user","content":"<system-reminder>x</system-reminder>"})"
            "\n"
            R"({"type":"user","content":[{"text":"a"},{"text":7},{"text":"b"}]})"
            "\n"
            R"({"type":"user","content":7})",
            "user: a\nb\nfirst=a\nb\nlast=a\nb\n"},
        {"other lines", "7\n{oops\n{\"type\":\"system\",\"content\":\"x\"}", ""},
    };
    check(Kind::grok, cases);
}

TEST(GrokReader, readsTheSummary)
{
    const TemporaryFolder folder;
    const std::pair<std::string, std::string> cases[] = {
        {R"({"session_summary":"s","generated_title":"g","head_branch":"b","last_active_at":"2026-01-01T00:00:09Z"})",
            "title=s\nbranch=b\nactivity=00:00:09Z\n"},
        {R"({"session_summary":"","generated_title":"Fix login"})", ""},
        {R"({"session_summary":7,"generated_title":"g","head_branch":"","last_active_at":"x"})", "title=g\nbranch=\n"},
        {"[]", ""},
        {"{oops", ""},
    };
    for (const auto& [text, expected] : cases) {
        folder.write("summary.json", text);
        EXPECT_EQ(told(readTranscript({Kind::grok, folder.path()}, "")), expected) << text;
    }
    folder.write("chat_history.jsonl", R"({"type":"user","content":"a"})");
    folder.write("summary.json", R"({"session_summary":"s"})");
    EXPECT_EQ(told(readTranscript({Kind::grok, folder.path()}, "")), "user: a\nfirst=a\nlast=a\ntitle=s\n");
}

} // namespace

} // namespace tarnel
