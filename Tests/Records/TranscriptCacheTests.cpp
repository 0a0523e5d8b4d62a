#include "Records/ChangingRecord.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Records/RecordHistory.h"
#include "TarnelCore/Records/StatusLineCache.h"
#include "TarnelCore/Records/StatusLineReader.h"
#include "TarnelCore/Records/TranscriptCache.h"
#include <atomic>
#include <gtest/gtest.h>
#include <random>
#include <thread>

namespace tarnel {

namespace {

using Kind = RecordPlace::Kind;

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
        ChangingRecord record(GetParam(), random);
        const RecordPlace& place = record.place();
        const RecordWindows::Sizes sizes{random() % 700, 100 + random() % 1'500};
        TranscriptCache cache("", sizes);
        StatusLineCache lines;
        std::shared_ptr<const Transcript> held; // now and then; one that nobody holds may go on in place
        for (int step = 0; step < 80; ++step) {
            record.change();
            const Transcript heldBefore = held ? *held : Transcript();
            const auto transcript = cache.transcript(place);
            ASSERT_EQ(*transcript, freshly(place, record.file(), sizes)) << "round " << round << " step " << step;
            ASSERT_EQ(cache.transcript(place), transcript) << "read again without a change";
            ASSERT_EQ(held ? *held : Transcript(), heldBefore) << "changed under its reader's eyes";
            held = random() % 2 == 0 ? transcript : nullptr;
            ASSERT_EQ(lines.statusLine(place), StatusLineReader::read(place)) << "round " << round << " step " << step;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(RecordCaches, AnyChange, testing::Values(Kind::claude, Kind::codex, Kind::grok));

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
