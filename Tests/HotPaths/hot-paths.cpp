// hot-paths: runs one of the paths on which the daemon spends its time, once, over generated data. Its instructions are
// counted from outside, only while `tarnelHotPath` runs; check-instructions does so.
#include "Bench/RecordGenerator.h"
#include "Bench/ScreenWork.h"
#include "Bench/TextGenerator.h"
#include "Bench/World.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Records/TranscriptCache.h"
#include <cstdio>
#include <functional>
#include <map>

namespace {

const std::function<std::size_t()>* path = nullptr;
std::size_t result = 0;

} // namespace

extern "C" [[gnu::noinline]] void tarnelHotPath() { result = (*path)(); }

namespace tarnel {

namespace {

using Kind = RecordPlace::Kind;

constexpr std::size_t recordBytes = std::size_t{1} << 20;
constexpr std::size_t appendedBytes = 10'240;

std::size_t run(const std::function<std::size_t()>& work)
{
    path = &work;
    tarnelHotPath();
    return result;
}

std::size_t coldRead()
{
    const TemporaryFolder folder;
    const auto write = [&](Kind kind, const char* name) {
        return folder.write(name, bench::RecordGenerator::record(kind, recordBytes));
    };
    const RecordPlace claude{Kind::claude, write(Kind::claude, "claude")};
    const RecordPlace codex{Kind::codex, write(Kind::codex, "codex")};
    write(Kind::grok, "chat_history.jsonl");
    const RecordPlace grok{Kind::grok, folder.path()};
    TranscriptCache cache("/home/me");
    return run([&] {
        return cache.transcript(claude)->entries.size() + cache.transcript(codex)->entries.size()
            + cache.transcript(grok)->entries.size();
    });
}

std::size_t append()
{
    const TemporaryFolder folder;
    bench::RecordGenerator generator(Kind::claude, 1);
    const RecordPlace place{Kind::claude, folder.write("record", generator.lines(recordBytes))};
    TranscriptCache cache("/home/me");
    cache.transcript(place);
    folder.append("record", generator.lines(appendedBytes));
    return run([&] { return cache.transcript(place)->entries.size(); });
}

std::size_t screen()
{
    bench::Random random(9);
    std::vector<std::string> screens;
    for (int i = 0; i < 20; ++i)
        screens.push_back(bench::TextGenerator::screen(random, 16'384, i % 3 == 0));
    return run([&] {
        std::size_t sum = 0;
        for (const std::string& each : screens)
            sum += bench::readScreen(each);
        return sum;
    });
}

std::size_t encoding()
{
    const MachineSnapshot snapshot = bench::generatedSnapshot(120);
    return run([&] { return encoded(snapshot).size(); });
}

} // namespace

} // namespace tarnel

int main(int count, char** values)
{
    const std::map<std::string, std::size_t (*)()> paths{{"append", tarnel::append}, {"cold-read", tarnel::coldRead},
        {"encoding", tarnel::encoding}, {"screen", tarnel::screen}};
    const auto chosen = count == 2 ? paths.find(values[1]) : paths.end();
    if (chosen == paths.end()) {
        std::fputs("usage: hot-paths append|cold-read|encoding|screen\n", stderr);
        return 2;
    }
    std::printf("%zu\n", chosen->second());
}
