#include "Faults/DaemonProcess.h"
#include <algorithm>
#include <atomic>
#include <mutex>
#include <poll.h>
#include <sys/ioctl.h>
#include <thread>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using Time = std::chrono::steady_clock;

constexpr std::size_t stalledCount = 100;
constexpr int changes = 1'000 / TARNEL_SLOWDOWN;

/// A client that subscribes and never reads.
struct Stalled {
    FileDescriptor descriptor; // of the client's end
    int arrived = -1; // bytes that wait for it
    Time::time_point lastProgress = Time::now();
    std::optional<Time::duration> dropped; // how long after its last progress
};

/// Looks at stalled subscribers, so often that it knows when something last arrived and when each was let go.
class StallWatch {
public:
    explicit StallWatch(std::vector<Stalled> watched)
        : all(std::move(watched))
        , thread([this] {
            while (!isStopping) {
                look();
                std::this_thread::sleep_for(10ms);
            }
        })
    {
    }
    ~StallWatch() { end(); }
    StallWatch(const StallWatch&) = delete;
    StallWatch& operator=(const StallWatch&) = delete;

    std::size_t droppedCount()
    {
        const std::lock_guard lock(mutex);
        return static_cast<std::size_t>(
            std::count_if(all.begin(), all.end(), [](const Stalled& each) { return each.dropped.has_value(); }));
    }
    /// The watched ones, once nobody looks any more.
    std::vector<Stalled>& end()
    {
        isStopping = true;
        if (thread.joinable())
            thread.join();
        return all;
    }

private:
    void look()
    {
        const std::lock_guard lock(mutex);
        for (Stalled& each : all) {
            if (each.dropped)
                continue;
            int waiting = 0;
            ::ioctl(each.descriptor.get(), FIONREAD, &waiting);
            if (waiting != each.arrived) {
                each.arrived = waiting;
                each.lastProgress = Time::now();
            }
            pollfd end{each.descriptor.get(), 0, 0};
            if (::poll(&end, 1, 0) > 0)
                each.dropped = Time::now() - each.lastProgress;
        }
    }

    std::mutex mutex;
    std::vector<Stalled> all;
    std::atomic<bool> isStopping = false;
    std::thread thread;
};

class SubscriberFaultTest : public DaemonProcessTest {
protected:
    /// How long it takes until the healthy subscriber knows of each of `count` changes, in ascending order.
    std::vector<Time::duration> latencies(LineSocket& healthy, LineSocket& asking, const std::string& word, int count)
    {
        std::vector<Time::duration> taken;
        for (int i = 0; i < count; ++i) {
            const std::string name = word + " " + std::to_string(i) + " is";
            muxle.change([&](MuxleWorld& world) { world.pane("p1").name = name; });
            const auto start = Time::now();
            asking.writeLine(R"({"id":1,"method":"next"})");
            while (healthy.readLine().value_or("\"" + name + "\"").find("\"" + name + "\"") == std::string::npos) { }
            taken.push_back(Time::now() - start);
            asking.readLine();
        }
        std::sort(taken.begin(), taken.end());
        return taken;
    }
    static Time::duration at99(const std::vector<Time::duration>& sorted)
    {
        return sorted.empty() ? Time::duration() : sorted[sorted.size() * 99 / 100];
    }
    std::vector<Stalled> stall() const
    {
        std::vector<Stalled> made(stalledCount);
        for (Stalled& each : made) {
            EXPECT_TRUE(eventually([&] { return (each.descriptor = connectBare(socketPath())).isOpen(); }));
            constexpr std::string_view request = "{\"id\":1,\"method\":\"subscribe\"}\n";
            EXPECT_EQ(::write(each.descriptor.get(), request.data(), request.size()), ssize_t(request.size()));
        }
        return made;
    }
};

TEST_F(SubscriberFaultTest, stalledOnesCostLittleAndAreLetGo)
{
    muxle.change([](MuxleWorld& world) {
        world.pane("p1").status = "blocked";
        world.pane("p1").screen = std::string(200'000, 'x');
    });
    serve();
    const auto healthy = subscribe();
    const auto asking = connect();
    latencies(*healthy, *asking, "warm", 50);
    const auto alone = latencies(*healthy, *asking, "alone", changes);

    const double before = usage().memory;
    ProcessUsage::resetPeak(id);
    StallWatch watch(stall());
    const auto together = latencies(*healthy, *asking, "both", changes);
    const std::size_t droppedMeanwhile = watch.droppedCount();
    const double growth = usage().peakMemory - before;

    EXPECT_TRUE(eventually([&] { return watch.droppedCount() == stalledCount; }, 60s)) << watch.droppedCount();
    double least = 1e9;
    double most = 0;
    for (const Stalled& each : watch.end()) {
        const double seconds = inSeconds(each.dropped.value_or(0s));
        least = std::min(least, seconds);
        most = std::max(most, seconds);
    }
    const double ratio = inMilliseconds(at99(together)) / inMilliseconds(at99(alone));
    printFigure("100 stalled subscribers, " + std::to_string(changes) + " changes of 200 KB: memory grew by "
        + oneDecimal(growth) + " MiB; 99th percentile of a healthy one " + oneDecimal(inMilliseconds(at99(together)))
        + " ms, alone " + oneDecimal(inMilliseconds(at99(alone))) + " ms; dropped " + oneDecimal(least) + " to "
        + oneDecimal(most) + " s after their last progress");
    EXPECT_GE(least, 9.9);
    EXPECT_LE(most, 10.0 + 1.5 * TARNEL_SLOWDOWN);
    if (figuresCount) {
        EXPECT_EQ(droppedMeanwhile, 0u) << "the changes took longer than a client may stall";
        EXPECT_LE(growth, 16);
        EXPECT_LE(ratio, 2);
    }
}

TEST_F(SubscriberFaultTest, aStoppedOneGetsTheNewestWhenItGoesOn)
{
    muxle.change([](MuxleWorld& world) {
        world.pane("p1").status = "blocked";
        world.pane("p1").screen = std::string(300'000, 'x');
    });
    serve();
    const auto healthy = subscribe();
    const auto asking = connect();
    const auto stopped = connect();
    stopped->writeLine(R"({"id":1,"method":"subscribe"})");
    constexpr int pushed = 200 / TARNEL_SLOWDOWN; // all of them before the stopped one counts as stalled
    latencies(*healthy, *asking, "both", pushed);
    std::string last;
    std::size_t count = 0;
    while (last.find("\"both " + std::to_string(pushed - 1) + " is\"") == last.npos) {
        last = stopped->readLine().value();
        ASSERT_TRUE(JSON::parseLine(last)) << "torn";
        ++count;
    }
    printFigure("a stopped subscriber that goes on gets " + std::to_string(count) + " lines for "
        + std::to_string(pushed) + " changes");
    EXPECT_LT(count, 25u);
}

} // namespace

} // namespace tarnel
