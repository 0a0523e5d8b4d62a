#include "EndToEnd/DemoWorld.h"
#include "Support/Eventually.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include <algorithm>
#include <gmock/gmock.h>
#include <thread>
#include <unistd.h>

namespace tarnel {

namespace {

using testing::HasSubstr;
using Stream = std::shared_ptr<TerminalStream>;

/// Frames until the bytes of all of them hold `text`; the last frame, or nothing when the stream ends before.
std::optional<TerminalFrame> readUntil(const Stream& stream, const std::string& text)
{
    std::string bytes;
    while (auto frame = stream->next()) {
        bytes += frame->bytes;
        if (bytes.find(text) != bytes.npos)
            return frame;
    }
    return std::nullopt;
}

/// How many of the multiplexer's tools are at work for observers. Their environment, which stands behind each command
/// line, tells those of other worlds apart.
std::size_t toolCount(DemoWorld& world)
{
    const std::string listing = world.run("ps axeww -o args=").output;
    const auto lines = Text::split(listing, '\n');
    return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [&](std::string_view line) {
        return line.starts_with(MUXLE_TMUX_PROGRAM " terminal session observe")
            && line.find(world.folder.path()) != line.npos;
    }));
}

TEST(Observe, streamsAPaneThroughResizesToItsEnd)
{
    DemoWorld world;
    const std::string pane = world.startCommand("exec cat");
    const Stream stream = world.daemon.observe(pane);
    const auto first = stream->next();
    ASSERT_TRUE(first);
    EXPECT_TRUE(first->full);
    EXPECT_EQ(first->width, 100);
    EXPECT_EQ(first->height, 30);
    world.type(pane, {"-l", "hello"});
    const auto update = readUntil(stream, "hello");
    ASSERT_TRUE(update);
    EXPECT_FALSE(update->full);

    world.run(
        TMUX_PROGRAM " -S " + (world.folder / "tmux.sock") + " resize-window -t %" + pane.substr(1) + " -x 70 -y 20");
    const auto resized = [&] {
        while (auto frame = stream->next()) {
            if (frame->full && frame->width == 70)
                return frame;
        }
        return std::optional<TerminalFrame>();
    }();
    ASSERT_TRUE(resized);
    EXPECT_EQ(resized->height, 20);
    EXPECT_THAT(resized->bytes, HasSubstr("hello"));

    EXPECT_EQ(toolCount(world), 1u);
    world.end(pane);
    EXPECT_EQ(readUntil(stream, "never written"), std::nullopt);
    EXPECT_TRUE(eventually([&] { return toolCount(world) == 0; }, patience));
}

TEST(Observe, servesTenObserversAtOnce)
{
    DemoWorld world;
    const std::string pane = world.startCommand("exec cat");
    std::vector<Stream> streams;
    for (int i = 0; i < 10; ++i)
        streams.push_back(world.daemon.observe(pane));
    for (const Stream& stream : streams)
        ASSERT_TRUE(stream->next());
    world.type(pane, {"-l", "to all"});
    for (const Stream& stream : streams)
        EXPECT_TRUE(readUntil(stream, "to all"));
    for (std::size_t i = 0; i < 5; ++i)
        streams[i]->close();
    EXPECT_TRUE(eventually([&] { return toolCount(world) == 5; }, patience));
    world.type(pane, {"-l", "to the rest"});
    for (std::size_t i = 5; i < 10; ++i)
        EXPECT_TRUE(readUntil(streams[i], "to the rest"));
    streams.clear();
    EXPECT_TRUE(eventually([&] { return toolCount(world) == 0; }, patience));
}

TEST(Observe, endsWithTheDaemonThoughThePaneIsQuiet)
{
    DemoWorld world;
    const Stream stream = world.daemon.observe(world.startCommand("exec sleep 1000"));
    ASSERT_TRUE(stream->next());
    EXPECT_EQ(toolCount(world), 1u);
    world.endDaemon();
    while (stream->next()) { } // the last frames may still be on their way
    EXPECT_TRUE(eventually([&] { return toolCount(world) == 0; }, patience));
}

TEST(Observe, saysThatThereIsNoSuchPane)
{
    DemoWorld world;
    EXPECT_EQ(world.daemon.observe("p999")->next(), std::nullopt);
}

TEST(Bridge, carriesRequestsASubscriptionAndItsInputsEnd)
{
    DemoWorld world;
    Process::Options options = world.command(TARNELD_PROGRAM, {"bridge", "--socket", world.daemon.socketPath()});
    options.pipesInput = true;
    const Process bridge(options);
    LineSocket output(FileDescriptor(::dup(bridge.input().get()))); // only written to
    std::string received;
    const auto readLines = [&](const std::string& until) {
        char chunk[4096];
        while (received.find(until) == received.npos) {
            const ssize_t count = ::read(bridge.output().get(), chunk, sizeof chunk);
            if (count <= 0)
                return false;
            received.append(chunk, static_cast<std::size_t>(count));
        }
        return true;
    };
    output.writeLine(R"({"id":1,"method":"ping"})");
    ASSERT_TRUE(readLines(R"("id":1,"result":{"machine":"demo")"));
    output.writeLine(R"({"id":2,"method":"subscribe"})");
    ASSERT_TRUE(readLines(R"({"event":"snapshot")"));
    received.clear();
    const std::string pane = world.startAgent("claude-finished");
    ASSERT_TRUE(readLines("\"paneID\":\"" + pane + "\""));
    output.writeLine(R"({"id":3,"method":"screen","params":{"pane":")" + pane + "\"}}");
    output.shutdownWrite();
    received.clear();
    EXPECT_TRUE(readLines(R"({"id":3,"result":)")) << "what was asked is answered after the input's end";
    EXPECT_FALSE(readLines("to the end"));
    EXPECT_EQ(received.back(), '\n');
    EXPECT_EQ(bridge.waitFor(patience), 0);
}

} // namespace

} // namespace tarnel
