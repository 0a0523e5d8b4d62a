// Records/ChangingRecord.h: a record that other programs write at random.
#pragma once
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Records/RecordPlace.h"
#include <chrono>
#include <filesystem>
#include <initializer_list>
#include <random>
#include <string>
#include <string_view>

namespace tarnel {

/// A record in a folder of its own, which is appended to, cut, rewritten or replaced.
class ChangingRecord {
public:
    using Kind = RecordPlace::Kind;

    ChangingRecord(Kind kind, std::mt19937& random)
        : random(random)
        , recordPlace{kind, kind == Kind::grok ? folder.path() : file()}
    {
    }

    [[nodiscard]] const RecordPlace& place() const { return recordPlace; }
    [[nodiscard]] std::string file() const { return folder / "chat_history.jsonl"; }

    /// Changes it once; no two changes leave the same time of modification.
    void change()
    {
        // Appends of whole lines, of no line at all and of half lines; now and then something else.
        switch (random() % 24) {
        case 0: // cut
            text.resize(random() % (text.size() + 1));
            break;
        case 1: // written anew
            text = std::string(random() % 3, '\n');
            break;
        case 2: // another beginning of the same or of another length, and more behind it
            text = line() + text.substr(random() % (text.size() + 1));
            break;
        case 3: // a long line, longer than a window perhaps
            text += "{\"type\":\"" + std::string(random() % 2'000, 'x') + "\"}";
            break;
        case 4: // a line exchanged for another in place
            if (!text.empty())
                text[random() % text.size()] = '\n';
            break;
        default:
            for (std::size_t count = random() % 4; count > 0; --count)
                text += line() + std::string(random() % 8 == 0 ? 2 : 1, '\n');
            if (random() % 4 == 0)
                text += line().substr(0, random() % 60);
            else if (random() % 4 == 0)
                text += line();
        }
        write("chat_history.jsonl", text);
        if (recordPlace.kind == Kind::grok && random() % 3 == 0)
            write("summary.json",
                R"({"current_model_id":")" + std::string(1, static_cast<char>('a' + random() % 3))
                    + R"(","reasoning_effort":1)" + std::string(random() % 4 == 0 ? 0 : 1, '}'));
    }

private:
    void write(const std::string& name, const std::string& content)
    {
        if (random() % 20 == 0)
            std::filesystem::remove(folder / name); // so that the next one is another file
        folder.write(name, content);
        // Two changes within one tick of the file system's clock would look like one.
        std::filesystem::last_write_time(
            folder / name, std::filesystem::file_time_type(std::chrono::seconds(++changes)));
    }

    /// A line of a record, or something that is none. Few different values, so that they meet often.
    std::string line()
    {
        const auto any = [&](std::initializer_list<std::string_view> choices) {
            return std::string(choices.begin()[random() % choices.size()]);
        };
        const std::string id = any({"a", "b", "c", "d"});
        const std::string said = any({"x", "y", "z z", "<rules>r</rules>", "<proposed_plan>p</proposed_plan>"});
        const std::string time = R"("timestamp":"2026-01-01T00:00:0)" + std::to_string(random() % 10) + R"(Z")";
        if (random() % 12 == 0)
            return any(
                {"{oops", "7", "", "{}", R"({"type":"summary","summary":"t"})", R"({"type":"summary","summary":"u"})"});
        switch (recordPlace.kind) {
        case Kind::claude: {
            const bool isUser = random() % 2 == 0;
            const std::string block = isUser
                ? any({R"({"type":"tool_result","tool_use_id":")" + id + R"("})",
                    R"({"type":"text","text":")" + said + R"("})"})
                : any(
                    {R"({"type":"tool_use","name":"Bash","id":")" + id + R"(","input":{"command":")" + said + R"("}})",
                        R"({"type":"tool_use","name":"ExitPlanMode","id":")" + id + R"(","input":{"plan":"p"}})",
                        R"({"type":"text","text":")" + said + R"("})"});
            return R"({"type":")" + std::string(isUser ? "user" : "assistant") + R"(",)" + time + R"(,"gitBranch":")"
                + any({"", "m", "n"}) + R"(","message":{"model":")" + any({"<none>", "m", "n"})
                + R"(","usage":{"input_tokens":)" + std::to_string(random() % 3) + R"(},"content":[)" + block + "]}}";
        }
        case Kind::codex: {
            const std::string item = random() % 40 == 0
                ? R"({"type":"item_completed","item":{"type":"AgentMessage","content":[{"text":"i"}]}})"
                : R"({"type":"turn_aborted"})";
            const std::string payload = any({R"({"type":"user_message","message":")" + said + R"("})",
                R"({"type":"agent_message","message":")" + said + R"("})",
                R"({"type":"task_complete","last_agent_message":")" + said + R"("})",
                R"({"type":"error","message":"e"})", item});
            const std::string call = any({R"({"type":"function_call","name":"shell","call_id":")" + id + R"("})",
                R"({"type":"function_call","name":"request_user_input","call_id":")" + id + R"("})",
                R"({"type":"function_call_output","call_id":")" + id + R"("})"});
            const std::string mode =
                any({R"({"collaboration_mode":{"mode":"plan"}})", "{}", R"({"model":"m","effort":"low"})"});
            const std::string count = R"({"type":"token_count","info":{"last_token_usage":{"total_tokens":)"
                + std::to_string(random() % 3) + "}}}";
            return "{" + time + R"(,"type":)"
                + any({R"("event_msg","payload":)" + any({payload, count}), R"("response_item","payload":)" + call,
                    R"("turn_context","payload":)" + mode})
                + "}";
        }
        case Kind::grok:
            return any({R"({"type":"user","content":")" + said + R"("})",
                R"({"type":"assistant","content":")" + said + R"("})",
                R"({"type":"assistant","tool_calls":[{"id":")" + id + R"(","name":"ask"}]})",
                R"({"type":"tool_result","tool_call_id":")" + id + R"("})"});
        }
        return "";
    }

    std::mt19937& random;
    const TemporaryFolder folder;
    const RecordPlace recordPlace;
    std::string text;
    int changes = 0;
};

} // namespace tarnel
