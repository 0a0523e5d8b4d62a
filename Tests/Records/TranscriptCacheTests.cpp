#include "Support/TemporaryFolder.h"
#include "TarnelCore/Records/RecordHistory.h"
#include "TarnelCore/Records/TranscriptCache.h"
#include <atomic>
#include <gtest/gtest.h>
#include <random>
#include <thread>

namespace tarnel {

namespace {

using Kind = RecordPlace::Kind;

/// A line of a record, or something that is none. Few different values, so that they meet often.
std::string randomLine(Kind kind, std::mt19937& random)
{
    const auto any = [&](std::initializer_list<std::string_view> choices) {
        return std::string(choices.begin()[random() % choices.size()]);
    };
    const std::string id = any({"a", "b", "c", "d"});
    const std::string text = any({"x", "y", "z z", "<rules>r</rules>", "<proposed_plan>p</proposed_plan>"});
    const std::string time = R"("timestamp":"2026-01-01T00:00:0)" + std::to_string(random() % 10) + R"(Z")";
    if (random() % 12 == 0)
        return any(
            {"{oops", "7", "", "{}", R"({"type":"summary","summary":"t"})", R"({"type":"summary","summary":"u"})"});
    switch (kind) {
    case Kind::claude: {
        const bool isUser = random() % 2 == 0;
        const std::string block = isUser
            ? any({R"({"type":"tool_result","tool_use_id":")" + id + R"("})",
                R"({"type":"text","text":")" + text + R"("})"})
            : any({R"({"type":"tool_use","name":"Bash","id":")" + id + R"(","input":{"command":")" + text + R"("}})",
                R"({"type":"tool_use","name":"ExitPlanMode","id":")" + id + R"(","input":{"plan":"p"}})",
                R"({"type":"text","text":")" + text + R"("})"});
        return R"({"type":")" + std::string(isUser ? "user" : "assistant") + R"(",)" + time + R"(,"gitBranch":")"
            + any({"", "m", "n"}) + R"(","message":{"content":[)" + block + "]}}";
    }
    case Kind::codex: {
        const std::string item = random() % 40 == 0
            ? R"({"type":"item_completed","item":{"type":"AgentMessage","content":[{"text":"i"}]}})"
            : R"({"type":"turn_aborted"})";
        const std::string payload = any({R"({"type":"user_message","message":")" + text + R"("})",
            R"({"type":"agent_message","message":")" + text + R"("})",
            R"({"type":"task_complete","last_agent_message":")" + text + R"("})", R"({"type":"error","message":"e"})",
            item});
        const std::string call = any({R"({"type":"function_call","name":"shell","call_id":")" + id + R"("})",
            R"({"type":"function_call","name":"request_user_input","call_id":")" + id + R"("})",
            R"({"type":"function_call_output","call_id":")" + id + R"("})"});
        const std::string mode = any({R"({"collaboration_mode":{"mode":"plan"}})", "{}"});
        return "{" + time + R"(,"type":)"
            + any({R"("event_msg","payload":)" + payload, R"("response_item","payload":)" + call,
                R"("turn_context","payload":)" + mode})
            + "}";
    }
    case Kind::grok:
        return any(
            {R"({"type":"user","content":")" + text + R"("})", R"({"type":"assistant","content":")" + text + R"("})",
                R"({"type":"assistant","tool_calls":[{"id":")" + id + R"(","name":"ask"}]})",
                R"({"type":"tool_result","tool_call_id":")" + id + R"("})"});
    }
    return "";
}

/// What a reading of both windows gives that knows nothing from before.
Transcript freshly(const RecordPlace& place, const std::string& file, const RecordWindows::Sizes& sizes)
{
    const RecordLines read(file, sizes);
    return parseTranscript(place.kind, std::vector<std::string_view>(read.begin(), read.end()), "");
}

class AnyChange : public testing::TestWithParam<Kind> { };

TEST_P(AnyChange, givesWhatAFreshReadingGives)
{
    std::mt19937 random(11);
    for (int round = 0; round < 60; ++round) {
        const TemporaryFolder folder;
        const bool isGrok = GetParam() == Kind::grok;
        const RecordPlace place{GetParam(), isGrok ? folder.path() : folder / "chat_history.jsonl"};
        const std::string file = folder / "chat_history.jsonl";
        const RecordWindows::Sizes sizes{random() % 700, 100 + random() % 1'500};
        TranscriptCache cache("", sizes);
        std::string text;
        for (int step = 0; step < 80; ++step) {
            // Appends of whole lines, of no line at all and of half lines; now and then something else.
            switch (random() % 24) {
            case 0: // cut
                text.resize(random() % (text.size() + 1));
                break;
            case 1: // written anew
                text = std::string(random() % 3, '\n');
                break;
            case 2: // another beginning of the same or of another length, and more behind it
                text = randomLine(place.kind, random) + text.substr(random() % (text.size() + 1));
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
                    text += randomLine(place.kind, random) + std::string(random() % 8 == 0 ? 2 : 1, '\n');
                if (random() % 4 == 0)
                    text += randomLine(place.kind, random).substr(0, random() % 60);
                else if (random() % 4 == 0)
                    text += randomLine(place.kind, random);
            }
            if (random() % 20 == 0)
                std::filesystem::remove(file); // so that the next one is another file
            folder.write("chat_history.jsonl", text);
            // Two changes within one tick of the file system's clock would look like one.
            const auto tick = std::filesystem::file_time_type(std::chrono::seconds(round * 1'000 + step));
            std::filesystem::last_write_time(file, tick);
            const auto transcript = cache.transcript(place);
            ASSERT_EQ(*transcript, freshly(place, file, sizes)) << "round " << round << " step " << step;
            ASSERT_EQ(cache.transcript(place), transcript) << "read again without a change";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(TranscriptCache, AnyChange, testing::Values(Kind::claude, Kind::codex, Kind::grok));

const std::string prompt = R"({"type":"user","content":"hello"})"
                           "\n";

TEST(TranscriptCache, readsAppendedLinesOnly)
{
    const TemporaryFolder folder;
    const RecordPlace place{Kind::claude, folder / "record"};
    const auto line = [](std::string_view text) {
        return R"({"type":"user","message":{"content":")" + std::string(text) + "\"}}\n";
    };
    folder.write("record", line(std::string(30'000, 'a')) + line("b") + line(std::string(20'000, 'c')));
    TranscriptCache cache("");
    const auto before = cache.transcript(place);
    folder.append("record", line("d"));
    const auto after = cache.transcript(place);
    ASSERT_EQ(after->entries.size(), 4);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(&*after->entries[i], &*before->entries[i]) << "understood again";
    EXPECT_EQ(before->entries.size(), 3);
}

TEST(TranscriptCache, noticesTheSummaryOfASession)
{
    const TemporaryFolder folder;
    const RecordPlace place{Kind::grok, folder.path()};
    TranscriptCache cache("");
    EXPECT_EQ(*cache.transcript(place), Transcript());
    folder.write("summary.json", R"({"session_summary":"a"})");
    EXPECT_EQ(cache.transcript(place)->title, "a");
    folder.write("chat_history.jsonl", prompt);
    EXPECT_EQ(cache.transcript(place)->title, "a");
    folder.write("summary.json", R"({"session_summary":"other"})");
    EXPECT_EQ(cache.transcript(place)->title, "other");
    EXPECT_EQ(cache.transcript(place)->lastUserPrompt, "hello");
    std::filesystem::remove(folder / "summary.json");
    EXPECT_EQ(cache.transcript(place)->title, std::nullopt);
    std::filesystem::remove(folder / "chat_history.jsonl");
    EXPECT_EQ(*cache.transcript(place), Transcript());
}

TEST(TranscriptCache, forgetsWhatIsNotRetained)
{
    const TemporaryFolder folder;
    folder.write("chat_history.jsonl", prompt);
    const RecordPlace kept{Kind::grok, folder.path()};
    const RecordPlace gone{Kind::grok, folder / "."};
    TranscriptCache cache("");
    const auto keptBefore = cache.transcript(kept);
    const auto goneBefore = cache.transcript(gone);
    cache.retain({kept});
    EXPECT_EQ(cache.transcript(kept), keptBefore);
    EXPECT_NE(cache.transcript(gone), goneBefore);
    EXPECT_EQ(*cache.transcript(gone), *goneBefore);
}

TEST(TranscriptCache, servesThreadsWhileRecordsGrow)
{
    const TemporaryFolder folder;
    const std::array places{RecordPlace{Kind::grok, folder.path()}, RecordPlace{Kind::grok, folder / "."}};
    constexpr std::size_t appended = 300;
    TranscriptCache cache("");
    std::atomic<bool> isDone = false;
    std::vector<std::thread> readers;
    for (std::size_t number = 0; number < 4; ++number)
        readers.emplace_back([&, number] {
            std::size_t seen = 0;
            while (!isDone) {
                const std::size_t now = cache.transcript(places[number % 2])->entries.size();
                EXPECT_GE(now, seen);
                seen = now;
                if (number == 0)
                    cache.retain({places[0]});
            }
        });
    for (std::size_t i = 0; i < appended; ++i) {
        folder.append("chat_history.jsonl", prompt.substr(0, 9));
        folder.append("chat_history.jsonl", prompt.substr(9));
    }
    isDone = true;
    for (std::thread& reader : readers)
        reader.join();
    for (const RecordPlace& place : places)
        EXPECT_EQ(cache.transcript(place)->entries.size(), appended);
}

} // namespace

} // namespace tarnel
