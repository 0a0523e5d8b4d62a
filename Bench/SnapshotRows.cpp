// Snapshots: taking them (7, 8), writing them (9), pushing them (10 to 12), and the work on a screen (13).
#include "Bench/Audience.h"
#include "Bench/BareSocket.h"
#include "Bench/InnerDaemon.h"
#include "Bench/LargeBlocks.h"
#include "Bench/ScreenWork.h"
#include "Bench/TextGenerator.h"
#include "Bench/Timing.h"
#include "Bench/World.h"
#include <benchmark/benchmark.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace tarnel::bench {

namespace {

constexpr std::size_t paneCount = 200;
constexpr std::size_t subscriberCount = 50;
constexpr int slowAnswerMs = 2;
constexpr std::size_t screenTripBytes = 16'384;
constexpr std::size_t requestBytes = 130; // about what reading a screen asks

double takeSnapshot(AttentionEngine& engine)
{
    return timed(Clock::wall, [&] {
        if (engine.snapshot().agents.size() != paneCount)
            throw std::runtime_error("the snapshot is not whole");
    });
}

/// The screens fetched one after the other by bare round trips.
double fetchBare(const std::string& socket, std::string& buffer)
{
    const auto requestFor = [](std::size_t pane) {
        return R"({"id":"tarnel-12345-1","method":"pane.read","params":{"format":"text","lines":30,"pane_id":"p)"
            + std::to_string(pane) + R"(","source":"visible"}})" + "\n";
    };
    return timed(Clock::wall, [&] {
        for (std::size_t pane = 0; pane < paneCount; ++pane)
            BareSocket::roundTrip(socket, requestFor(pane), buffer);
    });
}

Measure prepareSnapshot(int delayMs, int rounds)
{
    const auto inner = std::make_shared<InnerEngine>(paneCount, Scene::mixed, delayMs);
    return [inner, rounds, buffer = std::make_shared<std::string>()] {
        return inTurns(
            rounds, [&] { return takeSnapshot(inner->engine()); },
            [&] { return fetchBare(inner->muxleSocket(), *buffer); });
    };
}

/// A snapshot that is about 200 KB when written.
MachineSnapshot writtenSnapshot() { return generatedSnapshot(120); }

std::string written(const MachineSnapshot& snapshot)
{
    JSONWriter writer;
    encode(writer, snapshot);
    return writer.take();
}

Measure prepareWriting()
{
    const auto snapshot = std::make_shared<const MachineSnapshot>(writtenSnapshot());
    const std::string text = written(*snapshot);
    if (text.size() < 190'000 || text.size() > 210'000)
        throw std::logic_error("the snapshot has " + std::to_string(text.size()) + " bytes");
    const auto tree = std::make_shared<const nlohmann::json>(nlohmann::json::parse(text));
    return [snapshot, tree] {
        return inTurns(
            15, [&] { return timed(Clock::thread, [&] { benchmark::DoNotOptimize(written(*snapshot)); }); },
            [&] { return timed(Clock::thread, [&] { benchmark::DoNotOptimize(tree->dump()); }); });
    };
}

/// Publishes versions of one snapshot to an audience.
struct Pushing {
    MachineSnapshot base = writtenSnapshot();
    Audience audience{subscriberCount};
    std::int64_t version = 0;

    std::shared_ptr<const MachineSnapshot> next()
    {
        return std::make_shared<const MachineSnapshot>(changed(base, ++version));
    }
};

Measure preparePush()
{
    struct Setup : Pushing {
        std::vector<std::string> copies;
        std::string line;
    };
    const auto setup = std::make_shared<Setup>();
    setup->line = written(setup->base);
    setup->copies.assign(subscriberCount, setup->line);
    return [setup] {
        return inTurns(
            9,
            [&] {
                const auto snapshot = setup->next();
                return timed(Clock::process, [&] { setup->audience.push(snapshot); });
            },
            [&] {
                return timed(Clock::process, [&] {
                    for (std::string& copy : setup->copies) {
                        std::memcpy(copy.data(), setup->line.data(), setup->line.size());
                        benchmark::ClobberMemory();
                    }
                });
            });
    };
}

Measure prepareStalled()
{
    struct Setup {
        Pushing all;
        Pushing others;
    };
    const auto setup = std::make_shared<Setup>();
    setup->others.audience.stall(0);
    return [setup] {
        const auto push = [](Pushing& pushing) {
            const auto snapshot = pushing.next();
            return timed(Clock::wall, [&] { pushing.audience.push(snapshot); });
        };
        return inTurns(
            25, [&] { return push(setup->others); }, [&] { return push(setup->all); });
    };
}

/// An encoding needs a block of memory that holds it, and nothing else that is done for a push needs one so large.
Measure prepareEncodings()
{
    const auto setup = std::make_shared<Pushing>();
    return [setup] {
        const auto snapshot = setup->next();
        const long before = LargeBlocks::countAbove(written(setup->base).size());
        setup->audience.push(snapshot);
        return Sample{static_cast<double>(LargeBlocks::taken() - before), 1};
    };
}

Measure prepareScreen()
{
    struct Setup {
        OneCore pinned;
        TemporaryFolder folder;
        std::unique_ptr<Server> server = startBareServer(folder / "bare.sock", screenTripBytes, false);
        std::string line = std::string(requestBytes - 1, 'x') + "\n";
        std::string buffer;
        std::vector<std::string> screens;
    };
    const auto setup = std::make_shared<Setup>();
    Random random(9);
    for (int i = 0; i < 20; ++i)
        setup->screens.push_back(TextGenerator::screen(random, screenTripBytes, i % 3 == 0));
    return [setup] {
        const auto count = static_cast<double>(setup->screens.size());
        return inTurns(
            15,
            [&] {
                return timed(Clock::wall, [&] {
                    for (const std::string& screen : setup->screens)
                        benchmark::DoNotOptimize(readScreen(screen));
                }) / count;
            },
            [&] {
                return timed(Clock::wall, [&] {
                    for (std::size_t i = 0; i < setup->screens.size(); ++i)
                        BareSocket::roundTrip(setup->folder / "bare.sock", setup->line, setup->buffer);
                }) / count;
            });
    };
}

} // namespace

std::vector<Row> snapshotRows()
{
    return {{7, "snapshot", "snapshot of 200 panes, against 200 bare round trips one after the other", "ms", "",
                [] { return prepareSnapshot(0, 9); }},
        {8, "slow-snapshot", "the same where each answer of the multiplexer takes 2 ms", "ms", "",
            [] { return prepareSnapshot(slowAnswerMs, 1); }},
        {9, "encode", "a 200 KB snapshot written, against nlohmann's dump of the same value", "ms", "", prepareWriting},
        {10, "push", "push of it to 50 subscribers, against memcpy of the bytes", "ms", "", preparePush},
        {11, "stalled-push", "the delay of the other 49 when one does not read", "ms", "", prepareStalled},
        {12, "encodings", "serialisations a change, for 50 subscribers", "encodings", "", prepareEncodings},
        {13, "screen", "all text work on a screen, against the bare 16 KiB round trip that fetched it", "ms", "",
            prepareScreen}};
}

} // namespace tarnel::bench
