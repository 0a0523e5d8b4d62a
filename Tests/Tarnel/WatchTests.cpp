#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/UnixSocket/SocketError.h"
#include "tarnel/WatchScreen.h"
#include "tarnel/WatchStream.h"
#include <gtest/gtest.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;

const Timestamp now = Timestamp(1'800'000'000s);

MachineSnapshot snapshotOf(const std::vector<std::string>& messages)
{
    MachineSnapshot snapshot{.machine = "studio"};
    for (const std::string& message : messages) {
        const std::string pane = "p" + std::to_string(snapshot.queue.size());
        snapshot.queue.push_back({.kind = AttentionKind::error,
            .card = {.paneID = pane, .space = "api", .title = "t", .lastMessage = message},
            .waitingSince = now - 5s});
    }
    return snapshot;
}

TEST(WatchStream, saysWhatIsNewOnce)
{
    struct Step {
        const char* what;
        std::vector<std::string> queue;
        std::string news;
    };
    const std::string quiet = std::string(QueueTable::nothingWaits) + "\n";
    const Step steps[] = {
        {"an empty queue is worth a line", {}, quiet},
        {"which is not repeated", {}, ""},
        {"items that come", {"a", "b"},
            "● Stopped  p0    api    t      a          5 s\n● Stopped  p1    api    t      b          5 s\n"},
        {"nothing new", {"a", "b"}, ""},
        {"one that changes", {"a", "c"}, "● Stopped  p1    api    t      c          5 s\n"},
        {"one that goes", {"a"}, ""},
        {"the last one goes", {}, quiet},
        {"one that comes back", {"a"}, "● Stopped  p0    api    t      a          5 s\n"},
    };
    WatchStream stream;
    for (const Step& step : steps)
        EXPECT_EQ(stream.news(snapshotOf(step.queue).queue, now, 80), step.news) << step.what;
    EXPECT_EQ(stream.news(snapshotOf({"a"}).queue, now + 1h, 80), "") << "time that passes";
}

TEST(WatchScreen, staysInsideTheScreen)
{
    const auto snapshot =
        std::make_shared<const MachineSnapshot>(snapshotOf(std::vector<std::string>(30, "a rather long message 日本")));
    const LiveQueue::Machine connected{.label = "/tmp/d.sock", .snapshot = snapshot, .isConnected = true};
    const LiveQueue::Machine lost{.label = "studio", .snapshot = snapshot};
    const LiveQueue::Machine empty{.snapshot = std::make_shared<const MachineSnapshot>(), .isConnected = true};
    const LiveQueue::View views[] = {{{{}}}, {{connected}}, {{lost}}, {{empty}}, {{connected, lost, empty, lost, {}}}};
    for (const LiveQueue::View& view : views) {
        for (std::size_t size = 1; size < 50; ++size) {
            SCOPED_TRACE(size);
            const auto lines = watchScreen(view, now, {.columns = size, .rows = size}, false);
            EXPECT_LE(lines.size(), size);
            for (const std::string& line : lines)
                EXPECT_LE(TerminalText::width(line), size);
        }
    }
}

TEST(WatchScreen, tellsWhatItHidesAndWhatItHasLost)
{
    auto snapshot = snapshotOf(std::vector<std::string>(30, "m"));
    snapshot.agents = {{.paneID = "p1", .status = AgentStatus::working}, {.paneID = "p2", .shell = true}};
    LiveQueue::View view{
        {{.label = "/tmp/d.sock", .snapshot = std::make_shared<const MachineSnapshot>(snapshot), .isConnected = true}}};
    const ScreenSize size{.columns = 80, .rows = 10};
    auto lines = watchScreen(view, now, size, false);
    EXPECT_EQ(lines[0], "studio   30 wait for you, 1 is at work");
    EXPECT_EQ(lines[7], "… and 26 more"); // of 30, four fit below the two headings
    EXPECT_EQ(lines[9], "q or ctrl+c ends");
    view.machines[0].isConnected = false;
    lines = watchScreen(view, now, size, false);
    EXPECT_EQ(lines[9], "The daemon at /tmp/d.sock has gone; trying again ...");

    view.machines[0].isConnected = true;
    MachineSnapshot other = snapshotOf({"n"});
    other.machine = "mini";
    view.machines.push_back({.label = "mini", .snapshot = std::make_shared<const MachineSnapshot>(other)});
    lines = watchScreen(view, now, size, false);
    EXPECT_EQ(lines[0], "studio, mini   31 wait for you, 1 is at work");
    EXPECT_EQ(lines[9], "The daemon at mini has gone; trying again ...");
}

} // namespace

} // namespace tarnel
