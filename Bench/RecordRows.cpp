// Reading agents' records: rows 1 to 4, and the memory that they take (16).
#include "Bench/MemoryUse.h"
#include "Bench/RecordGenerator.h"
#include "Bench/Servers.h"
#include "Bench/SystemCalls.h"
#include "Bench/Timing.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Base/Clock.h"
#include "TarnelCore/Records/RecordLocator.h"
#include "TarnelCore/Records/RecordWindows.h"
#include "TarnelCore/Records/StatusLineCache.h"
#include "TarnelCore/Records/TranscriptCache.h"
#include <array>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <memory>
#include <simdjson.h>
#include <stdexcept>

namespace tarnel::bench {

namespace {

constexpr std::size_t windowBytes = RecordWindows::transcript.head + RecordWindows::transcript.tail;
constexpr std::size_t largeBytes = std::size_t{64} << 20;
constexpr std::size_t appendedBytes = 10'240;
constexpr std::size_t memoryRecords = 20;
constexpr std::array kinds{RecordPlace::Kind::claude, RecordPlace::Kind::codex, RecordPlace::Kind::grok};

/// The whole lines of `text` that fit into `bytes`.
std::string_view fitting(std::string_view text, std::size_t bytes)
{
    return text.substr(0, text.substr(0, bytes).rfind('\n') + 1);
}

/// A record in a folder of its own, which grows.
class GrowingRecord {
public:
    GrowingRecord(RecordPlace::Kind kind, std::size_t bytes)
        : generator(kind, 7)
        , place{kind, folder.path()}
    {
        std::string text = generator.lines(bytes);
        text.resize(fitting(text, bytes).size());
        folder.write("chat_history.jsonl", text);
        if (kind != RecordPlace::Kind::grok)
            place.path = folder / "chat_history.jsonl";
    }

    [[nodiscard]] const RecordPlace& at() const { return place; }

    /// Appends ten KiB of lines as they come at work, without huge ones.
    void grow()
    {
        std::string text;
        while (text.size() < appendedBytes) {
            if (rest.empty())
                rest = generator.lines(4 * appendedBytes);
            const std::string line = rest.substr(0, rest.find('\n') + 1);
            rest.erase(0, line.size());
            if (line.size() < appendedBytes / 3)
                text += line;
        }
        folder.append("chat_history.jsonl", text);
    }

private:
    TemporaryFolder folder;
    RecordGenerator generator;
    RecordPlace place;
    std::string rest;
};

/// One pass of the decoder over each line, and nothing else.
class BarePass {
public:
    explicit BarePass(std::string bytes)
        : text(std::move(bytes))
        , size(text.size())
    {
        text.resize(size + simdjson::SIMDJSON_PADDING);
    }

    double run()
    {
        return timed(Clock::thread, [&] {
            std::size_t decoded = 0;
            for (std::size_t begin = 0; begin < size;) {
                const char* const line = text.data() + begin;
                const char* const feed = static_cast<const char*>(std::memchr(line, '\n', size - begin));
                const auto length = static_cast<std::size_t>(feed - line);
                if (parser.parse(line, length, false).error() == simdjson::SUCCESS)
                    ++decoded;
                begin += length + 1;
            }
            benchmark::DoNotOptimize(decoded);
        });
    }

private:
    std::string text;
    const std::size_t size;
    simdjson::dom::parser parser;
};

double coldRead(const RecordPlace& place)
{
    TranscriptCache cache("/home/me");
    std::shared_ptr<const Transcript> transcript;
    const double time = timed(Clock::thread, [&] { transcript = cache.transcript(place); });
    if (transcript->entries.size() < 100)
        throw std::logic_error("the record was not read");
    return time;
}

/// The time that a refresh takes after the record has grown.
double appendRefresh(GrowingRecord& record, TranscriptCache& cache)
{
    record.grow();
    return timed(Clock::thread, [&] { benchmark::DoNotOptimize(cache.transcript(record.at())); });
}

Measure prepareColdRead()
{
    struct Setup {
        TemporaryFolder folder;
        std::vector<std::pair<RecordPlace, std::unique_ptr<BarePass>>> records;
    };
    const auto setup = std::make_shared<Setup>();
    for (const RecordPlace::Kind kind : kinds) {
        const std::string generated = RecordGenerator::record(kind, windowBytes);
        const std::string text(fitting(generated, windowBytes));
        const std::string name = std::to_string(static_cast<int>(kind));
        const std::string path = setup->folder.write(name + "/chat_history.jsonl", text);
        setup->records.emplace_back(RecordPlace{kind, kind == RecordPlace::Kind::grok ? setup->folder / name : path},
            std::make_unique<BarePass>(text));
    }
    return [setup] {
        Sample sum{0, 0};
        for (const auto& [place, bare] : setup->records) {
            const Sample one = inTurns(
                5, [&] { return coldRead(place); }, [&] { return bare->run(); });
            sum.subject += one.subject;
            sum.reference += one.reference;
        }
        return sum;
    };
}

Measure prepareAppend()
{
    struct Setup {
        GrowingRecord record{RecordPlace::Kind::claude, windowBytes - 110 * appendedBytes};
        TranscriptCache cache{"/home/me"};
    };
    const auto setup = std::make_shared<Setup>();
    setup->cache.transcript(setup->record.at());
    return [setup] {
        return inTurns(
            7,
            [&] {
                // The cold read has emptied the processor's caches, as nothing does between two refreshes.
                appendRefresh(setup->record, setup->cache);
                return appendRefresh(setup->record, setup->cache);
            },
            [&] { return coldRead(setup->record.at()); });
    };
}

Measure prepareLargeAppend()
{
    struct Setup {
        GrowingRecord large{RecordPlace::Kind::claude, largeBytes};
        GrowingRecord small{RecordPlace::Kind::claude, windowBytes};
        TranscriptCache cache{"/home/me"};
    };
    const auto setup = std::make_shared<Setup>();
    setup->cache.transcript(setup->large.at());
    setup->cache.transcript(setup->small.at());
    return [setup] {
        return inTurns(
            15, [&] { return appendRefresh(setup->large, setup->cache); },
            [&] { return appendRefresh(setup->small, setup->cache); });
    };
}

/// What one agent's record costs a snapshot when nothing has changed: finding it, its transcript and its status line.
Measure prepareNothingNew()
{
    struct Setup {
        TemporaryFolder home;
        std::string session = "5f1c2a34-0000-4000-8000-000000000001";
        RecordLocator locator{home.path(), tarnel::Clock::system()};
        TranscriptCache transcripts{home.path()};
        StatusLineCache lines;
        void refresh()
        {
            const auto place = locator.locate(AgentKind::claude, session, "/home/me/project");
            transcripts.transcript(place.value());
            benchmark::DoNotOptimize(lines.statusLine(*place));
        }
    };
    const auto setup = std::make_shared<Setup>();
    setup->home.write(".claude/projects/-home-me-project/" + setup->session + ".jsonl",
        RecordGenerator::record(RecordPlace::Kind::claude, 100'000));
    setup->refresh();
    return [setup] {
        constexpr int times = 100;
        return Sample{
            systemCalls([&] {
                for (int i = 0; i < times; ++i)
                    setup->refresh();
            }) / times,
            1};
    };
}

std::size_t textOf(const Transcript& transcript)
{
    std::size_t bytes = 0;
    for (const auto& entry : transcript.entries)
        bytes += entry->text.size() + (entry->toolName ? entry->toolName->size() : 0)
            + (entry->detail ? entry->detail->size() : 0);
    return bytes;
}

/// In a process of its own, whose heap has seen nothing else.
Measure prepareMemory()
{
    const auto folder = std::make_shared<TemporaryFolder>();
    for (std::size_t i = 0; i < memoryRecords; ++i) {
        const std::string text = RecordGenerator::record(RecordPlace::Kind::claude, windowBytes, i);
        folder->write(std::to_string(i), fitting(text, windowBytes));
    }
    return [folder] {
        const std::string printed = outputOf({"--read-records", folder->path()});
        Sample sample;
        if (std::sscanf(printed.c_str(), "%lf %lf", &sample.subject, &sample.reference) != 2)
            throw std::runtime_error("the process that reads records has failed");
        return sample;
    };
}

} // namespace

void readRecords(const std::string& folder)
{
    TranscriptCache cache("/home/me");
    const double before = anonymousMiB();
    std::size_t text = 0;
    for (std::size_t i = 0; i < memoryRecords; ++i)
        text += textOf(*cache.transcript({RecordPlace::Kind::claude, folder + "/" + std::to_string(i)}));
    std::printf("%f %f\n", anonymousMiB() - before, static_cast<double>(text) / (1 << 20));
}

void readRecord(const std::string& path)
{
    TranscriptCache cache("/home/me");
    std::printf("%zu\n", cache.transcript({RecordPlace::Kind::claude, path})->entries.size());
}

std::vector<Row> recordRows()
{
    return {{1, "cold-read", "cold 4.5 MiB windows to a finished transcript", "ms", "D", prepareColdRead},
        {2, "append", "refresh after a 10 KiB append, against its own cold read", "ms", "", prepareAppend},
        {3, "large-append", "the same on a 64 MiB record, against a 4.5 MiB one", "ms", "", prepareLargeAppend},
        {4, "nothing-new", "a record with nothing new, per refresh", "system calls", "", prepareNothingNew},
        {16, "record-memory", "memory growth after reading 20 windows, against the text kept", "MiB", "",
            prepareMemory}};
}

} // namespace tarnel::bench
