#include "Bench/RecordGenerator.h"
#include "Bench/TextGenerator.h"
#include "TarnelCore/JSON/JSON.h"
#include "TarnelCore/JSON/JSONWriter.h"
#include <cstdio>
#include <utility>
#include <vector>

namespace tarnel::bench {

namespace {

using namespace std::string_view_literals;
using Kind = RecordPlace::Kind;

constexpr std::size_t longestText = 180'000;

std::string quoted(std::string_view text)
{
    JSONWriter writer;
    writer.write(text);
    return writer.take();
}

/// How long a text is: mostly short, seldom very long.
std::size_t textSize(Random& random)
{
    switch (random.below(20)) {
    case 0:
        return random.isOneIn(5) ? random.between(40'000, longestText) : random.between(12'000, 40'000);
    case 1:
    case 2:
    case 3:
        return random.between(4'000, 12'000);
    case 4:
    case 5:
    case 6:
    case 7:
        return random.between(1'000, 4'000);
    default:
        return random.between(40, 1'000);
    }
}

} // namespace

class RecordGenerator::Session {
public:
    Session(Kind recordKind, std::uint64_t seed)
        : kind(recordKind)
        , random(seed)
        , sessionID(uuid())
    {
        if (kind == Kind::codex)
            begin = line("session_meta",
                R"({"id":")" + sessionID + R"(","cwd":"/home/me/project","originator":"cli","git":{"branch":"main"}})");
    }

    /// One exchange: a prompt, and what the agent does about it.
    void appendTurn(std::string& out)
    {
        out += std::exchange(begin, "");
        prompt(out);
        for (std::size_t steps = random.between(4, 24); steps > 0; --steps) {
            if (random.isOneIn(4))
                reply(out);
            call(out);
            if (random.isOneIn(3))
                aside(out);
        }
        reply(out);
        end(out);
    }

private:
    std::string uuid()
    {
        const auto part = [&](std::size_t count) { return TextGenerator::digits(random, count); };
        return part(8) + "-" + part(4) + "-4" + part(3) + "-a" + part(3) + "-" + part(12);
    }

    std::string time()
    {
        clock += random.between(150, 9'000);
        const auto seconds = static_cast<unsigned>(clock / 1'000 % 86'400);
        char text[32];
        std::snprintf(text, sizeof text, "2026-03-%02uT%02u:%02u:%02u.%03uZ",
            static_cast<unsigned>(1 + clock / 86'400'000 % 28), seconds / 3'600, seconds / 60 % 60, seconds % 60,
            static_cast<unsigned>(clock % 1'000));
        return text;
    }

    /// A line of Codex's.
    std::string line(std::string_view type, const std::string& payload)
    {
        return R"({"timestamp":")" + time() + R"(","type":")" + std::string(type) + R"(","payload":)" + payload + "}\n";
    }

    /// A line of Claude's; `more` is text of members with a comma in front.
    std::string line(std::string_view type, const std::string& message, const std::string& more)
    {
        const std::string previous = std::exchange(lastID, uuid());
        return R"({"parentUuid":")" + previous + R"(","isSidechain":)" + (random.isOneIn(40) ? "true" : "false")
            + R"(,"userType":"external","cwd":"/home/me/project","sessionId":")" + sessionID
            + R"(","version":"2.0.14","gitBranch":"main","type":")" + std::string(type) + R"(","message":)" + message
            + more + R"(,"uuid":")" + lastID + R"(","timestamp":")" + time() + "\"}\n";
    }

    std::string assistant(const std::string& block)
    {
        return line("assistant",
            R"({"model":"claude-opus-5","id":"msg_)" + TextGenerator::digits(random, 24)
                + R"(","type":"message","role":"assistant","content":[)" + block
                + R"(],"stop_reason":null,"stop_sequence":null,"usage":{"input_tokens":)"
                + std::to_string(random.below(900))
                + R"(,"cache_creation_input_tokens":1480,"cache_read_input_tokens":43866,"cache_creation":{"ephemeral_5m_input_tokens":1480,"ephemeral_1h_input_tokens":0},"output_tokens":271,"service_tier":"standard"}})",
            R"(,"requestId":"req_)" + TextGenerator::digits(random, 24) + "\"");
    }

    void prompt(std::string& out)
    {
        const std::string text = quoted(TextGenerator::prose(random, random.between(30, 1'500))
            + (random.isOneIn(5) ? "<system-reminder>Keep the tests green.</system-reminder>" : ""));
        switch (kind) {
        case Kind::claude:
            out += line("user", R"({"role":"user","content":)" + text + "}", "");
            break;
        case Kind::codex:
            out += line("turn_context",
                R"({"cwd":"/home/me/project","approval_policy":"on-request","model":"model-1","effort":"high","summary":"auto"})");
            out += line("response_item",
                R"({"type":"message","role":"user","content":[{"type":"input_text","text":)" + text + "}]}");
            out += line("event_msg", R"({"type":"user_message","message":)" + text + R"(,"images":[]})");
            break;
        case Kind::grok:
            out += R"({"type":"user","content":[{"type":"text","text":)" + text + "}]}\n";
            break;
        }
    }

    void reply(std::string& out)
    {
        const std::string text = quoted(TextGenerator::prose(random, random.between(60, 2'500)));
        switch (kind) {
        case Kind::claude:
            out += assistant(R"({"type":"text","text":)" + text + "}");
            break;
        case Kind::codex:
            out += line("event_msg", R"({"type":"agent_message","message":)" + text + "}");
            out += line("response_item",
                R"({"type":"message","role":"assistant","content":[{"type":"output_text","text":)" + text + "}]}");
            break;
        case Kind::grok:
            out += R"({"type":"assistant","content":)" + text
                + R"(,"model_id":"model-1"})"
                  "\n";
            break;
        }
    }

    void call(std::string& out)
    {
        const auto [name, input] = toolCall();
        const std::string id = "call_" + TextGenerator::digits(random, 24);
        const std::size_t size = textSize(random);
        const std::string raw =
            random.isOneIn(2) ? TextGenerator::output(random, size) : TextGenerator::code(random, size);
        const std::string result = quoted(raw);
        switch (kind) {
        case Kind::claude: {
            out +=
                assistant(R"({"type":"tool_use","id":")" + id + R"(","name":")" + name + R"(","input":)" + input + "}");
            const std::string also = size < 40'000 && random.isOneIn(2)
                ? R"(,"toolUseResult":{"stdout":)" + result + R"(,"stderr":"","interrupted":false,"isImage":false})"
                : R"(,"toolUseResult":{"type":"text","isImage":false})";
            out += line("user",
                R"({"role":"user","content":[{"tool_use_id":")" + id + R"(","type":"tool_result","content":)" + result
                    + R"(,"is_error":false}]})",
                also);
            break;
        }
        case Kind::codex:
            out += line("response_item",
                R"({"type":"function_call","name":")" + name + R"(","arguments":)" + quoted(input) + R"(,"call_id":")"
                    + id + "\"}");
            out += line("response_item",
                R"({"type":"function_call_output","call_id":")" + id + R"(","output":)"
                    + quoted(R"({"output":)" + result + R"(,"metadata":{"exit_code":0,"duration_seconds":0.4}})")
                    + "}");
            break;
        case Kind::grok:
            out += R"({"type":"assistant","content":"","tool_calls":[{"id":")" + id + R"(","name":")" + name
                + R"(","arguments":)" + quoted(input)
                + R"(}],"model_id":"model-1"})"
                  "\n";
            out += R"({"type":"tool_result","tool_call_id":")" + id + R"(","content":)" + result + "}\n";
            break;
        }
    }

    std::pair<std::string, std::string> toolCall()
    {
        const std::string file = quoted("/home/me/project/" + TextGenerator::path(random));
        if (kind == Kind::codex)
            return {"exec_command",
                R"({"cmd":)" + quoted(TextGenerator::command(random))
                    + R"(,"workdir":"/home/me/project","max_output_tokens":6000})"};
        switch (random.below(5)) {
        case 0:
            return {"Read", R"({"file_path":)" + file + R"(,"offset":1,"limit":200})"};
        case 1:
            return {"Edit",
                R"({"file_path":)" + file + R"(,"old_string":)"
                    + quoted(TextGenerator::code(random, random.between(60, 1'500))) + R"(,"new_string":)"
                    + quoted(TextGenerator::code(random, random.between(60, 1'500))) + R"(,"replace_all":false})"};
        case 2:
            return {"Grep", R"({"pattern":"find\\w+","path":)" + file + R"(,"output_mode":"content","-n":true})"};
        default:
            return {"Bash",
                R"({"command":)" + quoted(TextGenerator::command(random))
                    + R"(,"description":"Run the checks","timeout":120000})"};
        }
    }

    /// What agents note down besides.
    void aside(std::string& out)
    {
        const std::size_t size = random.between(200, 3'000);
        switch (kind) {
        case Kind::claude:
            if (random.isOneIn(3))
                out += R"({"type":"file-history-snapshot","messageId":")" + uuid()
                    + R"(","snapshot":{"trackedFileBackups":{},"timestamp":")" + time()
                    + R"("},"isSnapshotUpdate":false})"
                      "\n";
            else
                out += assistant(R"({"type":"thinking","thinking":)" + quoted(TextGenerator::prose(random, size))
                    + R"(,"signature":")" + TextGenerator::digits(random, 400) + "\"}");
            break;
        case Kind::codex:
            if (random.isOneIn(2))
                out += line("event_msg",
                    R"({"type":"token_count","info":{"last_token_usage":{"input_tokens":51022,"total_tokens":51511},"model_context_window":258400},"rate_limits":{"primary":{"used_percent":12.5,"window_minutes":300,"resets_at":1774000000}}})");
            else
                out += line("response_item",
                    R"({"type":"reasoning","summary":[],"content":null,"encrypted_content":")"
                        + TextGenerator::digits(random, size) + "\"}");
            break;
        case Kind::grok:
            out += R"({"type":"reasoning","content":)" + quoted(TextGenerator::prose(random, size)) + "}\n";
            break;
        }
    }

    void end(std::string& out)
    {
        if (kind == Kind::codex)
            out += line("event_msg", R"({"type":"task_complete","last_agent_message":"Done."})");
    }

    const Kind kind;
    Random random;
    const std::string sessionID;
    std::string lastID = "00000000-0000-4000-8000-000000000000";
    std::string begin;
    std::uint64_t clock = 0; // milliseconds
};

RecordGenerator::RecordGenerator(Kind kind, std::uint64_t seed)
    : session(std::make_unique<Session>(kind, seed))
{
}

RecordGenerator::~RecordGenerator() = default;

std::string RecordGenerator::lines(std::size_t bytes)
{
    std::string text;
    text.reserve(bytes + longestText);
    while (text.size() < bytes)
        session->appendTurn(text);
    return text;
}

std::string RecordGenerator::record(Kind kind, std::size_t bytes, std::uint64_t seed)
{
    return RecordGenerator(kind, seed).lines(bytes);
}

} // namespace tarnel::bench
