#include "Faults/DaemonProcess.h"
#include <atomic>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <poll.h>
#include <random>
#include <sys/mman.h>
#include <thread>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::Ge;
using testing::HasSubstr;
using testing::Le;
using Time = std::chrono::steady_clock;

#if defined(__linux__)
/// Sets the time of day of a program back and forth without end.
class Jumps {
public:
    explicit Jumps(const std::string& file)
    {
        const FileDescriptor open(::open(file.c_str(), O_RDWR | O_CREAT, 0600));
        EXPECT_EQ(::ftruncate(open.get(), sizeof(long)), 0);
        void* mapped = ::mmap(nullptr, sizeof(long), PROT_READ | PROT_WRITE, MAP_SHARED, open.get(), 0);
        EXPECT_NE(mapped, MAP_FAILED);
        shift = static_cast<volatile long*>(mapped);
        thread = std::thread([this] {
            std::mt19937 random(3);
            std::uniform_int_distribution<long> seconds(-year, year);
            while (!isStopping) {
                *shift = seconds(random);
                ++count;
                std::this_thread::sleep_for(3ms);
            }
        });
    }
    ~Jumps()
    {
        isStopping = true;
        thread.join();
        ::munmap(const_cast<long*>(shift), sizeof(long));
    }
    Jumps(const Jumps&) = delete;
    Jumps& operator=(const Jumps&) = delete;

    std::atomic<int> count = 0;

private:
    static constexpr long year = 365L * 86'400;
    volatile long* shift = nullptr;
    std::atomic<bool> isStopping = false;
    std::thread thread;
};

TEST(ClockFaultTest, everyTimeOutHoldsWhileTheClockIsSet)
{
    if (!figuresCount)
        GTEST_SKIP() << "a sanitizer's library must be the first to be loaded";
    DaemonProcess world;
    Jumps jumps(world.folder / "shift");
    world.environment["LD_PRELOAD"] = JUMPING_CLOCK_LIBRARY;
    world.environment["JUMPING_CLOCK_FILE"] = world.folder / "shift";
    world.muxle.change([](MuxleWorld& shown) {
        shown.pane("p1").status = "blocked";
        shown.pane("p1").screen = std::string(300'000, 'x');
    });
    world.serve();
    // That the clock does jump can be seen in the times that the daemon gives out.
    const auto taken = [&] {
        const JSON reply = JSON::parse(world.ask(R"({"id":1,"method":"snapshot"})"));
        return stringOf((*reply["result"])["takenAt"]).value_or("").substr(0, 7);
    };
    const std::string first = taken();
    ASSERT_TRUE(eventually([&] { return taken() != first; })) << "the clock does not jump";

    struct Measured {
        const char* what;
        double expected; // seconds
        double tolerance; // above
        std::function<void()> wait;
        double seconds = 0;
    };
    const auto stalled = world.connect();
    std::atomic<bool> isOver = false;
    Measured all[] = {
        {"the tick", 2, 1,
            [&] {
                const auto subscriber = world.subscribe();
                const auto start = Time::now();
                world.muxle.change([](MuxleWorld& shown) { shown.pane("p2").name = "ticked"; });
                while (subscriber->readLine().value().find("\"ticked\"") == std::string::npos) { }
                EXPECT_LE(Time::now() - start, 4s);
            }},
        {"an answer that changes nothing", 4, 2,
            [&] {
                const JSON reply = JSON::parse(world.ask(R"({"id":1,"method":"queue"})"));
                const JSON params = JSON::object(
                    {{"fingerprint", *(*reply["result"]->array()->begin())["fingerprint"]}, {"text", "yes"}});
                const JSON asked = JSON::object({{"id", 1}, {"method", "answer"}, {"params", params}});
                EXPECT_THAT(world.ask(asked.serialized()), HasSubstr("unverified"));
            }},
        {"a multiplexer that hangs", 10, 2,
            [&] {
                world.muxle.misbehave(ScriptedMuxle::Fault::hang, "agent.explain");
                EXPECT_THAT(world.ask(R"({"id":1,"method":"muxle","params":{"method":"agent.explain"}})"),
                    HasSubstr(R"("code":"failed")"));
            }},
        {"a subscriber that stalls", 10, 2,
            [&] {
                stalled->writeLine(R"({"id":1,"method":"subscribe"})");
                const auto asking = world.connect();
                const FileDescriptor unread = connectBare(world.socketPath());
                constexpr std::string_view request = "{\"id\":1,\"method\":\"subscribe\"}\n";
                EXPECT_GT(::write(unread.get(), request.data(), request.size()), 0);
                pollfd end{unread.get(), 0, 0};
                for (int i = 0; !isOver && ::poll(&end, 1, 50) == 0; ++i) { // until it is let go
                    world.muxle.change([&](MuxleWorld& shown) { shown.pane("p3").name = std::to_string(i); });
                    DaemonProcess::ask(*asking, R"({"id":1,"method":"next"})");
                }
            }},
    };
    const auto measure = [](Measured& each) {
        const auto start = Time::now();
        each.wait();
        each.seconds = inSeconds(Time::now() - start);
    };
    measure(all[0]); // alone, since whoever asks for something brings what the tick would
    std::vector<std::thread> threads;
    for (std::size_t i = 1; i < std::size(all); ++i)
        threads.emplace_back(measure, std::ref(all[i]));
    // One that never comes back would hold the test up for ever.
    std::thread watchdog(
        [&] { eventually([&] { return isOver.load(); }, 60s) ? void() : world.daemon->terminate(0ms); });
    for (std::thread& thread : threads)
        thread.join();
    isOver = true;
    watchdog.join();
    std::string text = "the clock set " + std::to_string(jumps.count) + " times by up to a year:";
    for (const Measured& each : all) {
        EXPECT_LE(each.seconds, each.expected + each.tolerance) << each.what;
        if (each.expected > 2) {
            EXPECT_GE(each.seconds, each.expected - 0.2) << each.what;
        }
        text += std::string(" ") + each.what + " " + oneDecimal(each.seconds) + " s;";
    }
    printFigure(text);
}
#endif

class SleepFaultTest : public DaemonProcessTest { };

/// A stopped process sees what a sleeping machine shows it: time has passed, and nothing has happened.
TEST_F(SleepFaultTest, goesOnAfterASleep)
{
    serve();
    ASSERT_TRUE(muxle.awaitSubscriptions(1));
    const auto subscriber = subscribe();
    const auto asking = connect();
    ask(*asking, R"({"id":1,"method":"queue"})");
    ASSERT_EQ(::kill(id, SIGSTOP), 0);
    muxle.dropSubscriptions(); // the multiplexer has gone on
    muxle.change([](MuxleWorld& world) { world.pane("p1").name = "changed meanwhile"; });
    asking->writeLine(R"({"id":2,"method":"next"})");
    letPass(12s); // longer than any time-out
    ASSERT_EQ(::kill(id, SIGCONT), 0);
    const auto start = Time::now();
    EXPECT_THAT(subscriber->readLine().value_or(""), HasSubstr("changed meanwhile"));
    EXPECT_THAT(asking->readLine().value_or(""), HasSubstr(R"("id":2)"));
    const auto taken = Time::now() - start;
    EXPECT_TRUE(muxle.awaitSubscriptions(1));
    muxle.change([](MuxleWorld& world) { world.pane("p1").name = "changed since"; });
    muxle.pushEvent("pane.created");
    EXPECT_THAT(subscriber->readLine().value_or(""), HasSubstr("changed since"));
    printFigure("after a sleep of 12 s everything was answered within " + oneDecimal(inMilliseconds(taken)) + " ms");
    EXPECT_LE(taken, 3s * TARNEL_SLOWDOWN);
}

} // namespace

} // namespace tarnel
