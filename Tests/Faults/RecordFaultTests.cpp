#include "Faults/DaemonProcess.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Records/RecordHistory.h"
#include "TarnelCore/Records/TranscriptCache.h"
#include <atomic>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <random>
#include <sys/stat.h>
#include <thread>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
namespace fs = std::filesystem;

std::string promptLine(const std::string& text) { return R"({"type":"user","message":{"content":")" + text + "\"}}\n"; }

/// A record that another program does anything to.
class UnrulyRecord {
public:
    explicit UnrulyRecord(const TemporaryFolder& folder)
        : home(folder)
        , path(folder / "record")
    {
    }

    /// One change, half a one perhaps: a reader may come at any moment of it.
    void change(std::mt19937& random)
    {
        switch (random() % 16) {
        case 0: // replaced by another
            home.write("new", promptLine("n" + std::to_string(random())));
            makeRegular();
            ::rename((home / "new").c_str(), path.c_str());
            break;
        case 1: // cut anywhere
            makeRegular();
            fs::resize_file(path, random() % (fs::file_size(path) + 1));
            break;
        case 2: // emptied
            makeRegular();
            fs::resize_file(path, 0);
            break;
        case 3: // rewritten in place
            makeRegular();
            overwrite(random() % (fs::file_size(path) + 1), promptLine("w" + std::to_string(random())));
            break;
        case 4: // huge, and mostly holes
            makeRegular();
            fs::resize_file(path, std::uintmax_t{10} << 30);
            break;
        case 5:
            fs::remove_all(path);
            break;
        case 6:
            fs::remove_all(path);
            ::mkfifo(path.c_str(), 0600);
            break;
        case 7:
            fs::remove_all(path);
            fs::create_directory(path);
            break;
        case 8: // a link to a record, to itself, to nothing, to a device
            fs::remove_all(path);
            home.write("other", promptLine("o" + std::to_string(random())));
            fs::create_symlink(std::array{"other", "record", "nowhere", "/dev/zero"}[random() % 4], path);
            break;
        case 9:
            makeRegular();
            ::chmod(path.c_str(), random() % 2 == 0 ? 0 : 0600);
            break;
        default: // grows, by whole lines and by halves
            makeRegular();
            if (fs::file_size(path) < 1'000'000)
                append(promptLine("a" + std::to_string(random())).substr(0, 10 + random() % 80));
        }
        // Two changes within one tick of the file system's clock would look like one.
        const timespec times[2] = {{0, UTIME_OMIT}, {1'700'000'000 + ++changes, 0}};
        ::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW);
        std::error_code ignored;
        if (fs::is_symlink(path, ignored) && fs::exists(home / "other"))
            ::utimensat(AT_FDCWD, (home / "other").c_str(), times, 0);
    }

    const TemporaryFolder& home;
    const std::string path;

private:
    void makeRegular() const
    {
        std::error_code ignored;
        if (fs::is_regular_file(fs::symlink_status(path, ignored)) && fs::file_size(path) < 100'000'000)
            return;
        fs::remove_all(path, ignored);
        home.write("record", promptLine("first"));
    }
    void append(std::string_view text) const { write(O_APPEND, 0, text); }
    void overwrite(std::uintmax_t at, std::string_view text) const { write(0, at, text); }
    void write(int flags, std::uintmax_t at, std::string_view text) const
    {
        const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC | flags));
        ::lseek(file.get(), static_cast<off_t>(at), SEEK_SET);
        for (const char& byte : text) // a reader may see any part of it
            EXPECT_EQ(::write(file.get(), &byte, 1), 1);
    }

    long changes = 0;
};

/// What this process has read so far, in bytes; nothing where the system does not tell.
std::optional<double> bytesRead(const std::string& process = "self")
{
    const std::string counts = Files::read("/proc/" + process + "/io").value_or("");
    return counts.starts_with("rchar: ") ? std::optional(std::stod(counts.substr(7))) : std::nullopt;
}

class RecordFaultTest : public testing::Test {
protected:
    /// Reads a record while it is being changed; between changes, every reading must be what a fresh one gives.
    static void readWhileChanging(int changes)
    {
        const TemporaryFolder folder;
        UnrulyRecord record(folder);
        const RecordPlace place{RecordPlace::Kind::claude, record.path};
        TranscriptCache cache("");
        std::atomic<bool> isDone = false;
        std::atomic<int> readings = 0;
        std::thread reader([&] {
            while (!isDone) {
                cache.transcript(place);
                ++readings;
            }
        });
        std::mt19937 random(17);
        std::chrono::nanoseconds slowest{};
        for (int i = 0; i < changes; ++i) {
            record.change(random);
            if (i % 4 != 0)
                continue;
            const auto start = std::chrono::steady_clock::now();
            const auto transcript = cache.transcript(place);
            slowest = std::max(slowest, std::chrono::steady_clock::now() - start);
            const RecordLines fresh(record.path, RecordWindows::transcript);
            const Transcript expected =
                parseTranscript(place.kind, std::vector<std::string_view>(fresh.begin(), fresh.end()), "");
            if (*transcript != expected) {
                ADD_FAILURE() << "after change " << i << ": " << transcript->entries.size() << " entries for "
                              << expected.entries.size();
                break;
            }
        }
        isDone = true;
        reader.join();
        printFigure("a record changed " + std::to_string(changes) + " times, read " + std::to_string(readings)
            + " times meanwhile: always what a fresh reading gives, within " + oneDecimal(inMilliseconds(slowest))
            + " ms");
        EXPECT_GT(readings, 0);
        EXPECT_LE(slowest, 2s * TARNEL_SLOWDOWN);
    }
};

TEST_F(RecordFaultTest, everyReadingIsAFreshOne) { readWhileChanging(6'000 / TARNEL_SLOWDOWN); }

TEST_F(RecordFaultTest, SoakEveryReadingIsAFreshOne) { readWhileChanging(20'000); }

class DaemonRecordFaultTest : public DaemonProcessTest {
protected:
    static constexpr auto methods = {R"("snapshot")", R"("queue")", R"("conversation","params":{"pane":"p1"})",
        R"("search","params":{"query":"needle"})", R"("card","params":{"pane":"p1"})",
        R"("commands","params":{"pane":"p1"})"};
};

/// Everything that looks at records, through the daemon: nothing blocks, and no more is read than the windows.
TEST_F(DaemonRecordFaultTest, nothingBlocksOrReadsTooMuch)
{
    const std::string record = ".claude/projects/-home-me-project/s1.jsonl";
    const std::string path = folder / record;
    muxle.change([](MuxleWorld& world) {
        world.pane("p1").sessionID = "s1";
        world.pane("p1").status = "blocked";
    });
    const auto writeRecord = [&] { folder.write(record, promptLine("the needle")); };
    writeRecord();
    const auto remove = [&] { fs::remove_all(path); };
    struct Case {
        const char* what;
        std::function<void()> make;
        bool isReadable = false;
    };
    const Case cases[] = {
        {"as it should be", writeRecord, true},
        {"a FIFO", [&] { remove(), ::mkfifo(path.c_str(), 0600); }},
        {"a directory", [&] { remove(), fs::create_directory(path); }},
        {"a link to nothing", [&] { remove(), fs::create_symlink("nowhere", path); }},
        {"a link to itself", [&] { remove(), fs::create_symlink("s1.jsonl", path); }},
        {"a link to an endless device", [&] { remove(), fs::create_symlink("/dev/zero", path); }},
        {"a link to a FIFO",
            [&] {
                remove();
                ::mkfifo((folder / "fifo").c_str(), 0600);
                fs::create_symlink(folder / "fifo", path);
            }},
        {"a link to a record",
            [&] { remove(), fs::create_symlink(folder.write("elsewhere", promptLine("the needle")), path); }, true},
        {"10 GB", [&] { remove(), writeRecord(), fs::resize_file(path, std::uintmax_t{10} << 30); }, true},
        {"10 GB that grows",
            [&] {
                remove(), writeRecord(), fs::resize_file(path, std::uintmax_t{10} << 30);
                folder.append(record, "\n" + promptLine("more"));
            },
            true},
        {"cut", [&] { remove(), writeRecord(), fs::resize_file(path, 20); }},
        {"the folder of records a FIFO",
            [&] {
                fs::remove_all(folder / ".claude");
                ::mkfifo((folder / ".claude").c_str(), 0600);
            }},
        {"the folder of records a link to itself",
            [&] {
                fs::remove_all(folder / ".claude");
                fs::create_symlink(".claude", folder / ".claude");
            }},
        {"unreadable",
            [&] {
                fs::remove_all(folder / ".claude");
                writeRecord();
                ::chmod(path.c_str(), 0);
            },
            ::geteuid() == 0},
        {"as it should be again",
            [&] {
                fs::remove_all(folder / ".claude");
                writeRecord();
            },
            true},
    };
    serve();
    ask(R"({"id":1,"method":"queue"})");
    const double memory = usage().memory;
    ProcessUsage::resetPeak(id);
    std::chrono::nanoseconds slowest{};
    double mostRead = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        c.make();
        const auto before = bytesRead(std::to_string(id));
        for (const char* method : methods) {
            SCOPED_TRACE(method);
            const auto start = std::chrono::steady_clock::now();
            const std::string reply = ask(std::string(R"({"id":1,"method":)") + method + "}");
            slowest = std::max(slowest, std::chrono::steady_clock::now() - start);
            EXPECT_THAT(reply, HasSubstr("result"));
            if (c.isReadable && std::string_view(method).starts_with("\"search")) {
                EXPECT_THAT(reply, HasSubstr("needle"));
            }
        }
        if (const auto after = bytesRead(std::to_string(id)); before && after)
            mostRead = std::max(mostRead, (*after - *before) / (1 << 20));
    }
    const double growth = usage().peakMemory - memory;
    printFigure(std::to_string(std::size(cases)) + " kinds of unruly records: every request answered within "
        + oneDecimal(inMilliseconds(slowest)) + " ms, at most " + oneDecimal(mostRead)
        + " MiB read for one, memory grew by " + oneDecimal(growth) + " MiB at most");
    EXPECT_LE(slowest, 1s * TARNEL_SLOWDOWN);
    EXPECT_LE(mostRead, 16) << "twice the windows of 4.5 MiB, the status line's, and replies";
    if (figuresCount) {
        EXPECT_LE(growth, 16);
    }
}

} // namespace

} // namespace tarnel
