#include "EndToEnd/DemoWorld.h"
#include "Support/Eventually.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include <algorithm>
#include <array>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <unistd.h>

namespace tarnel {

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

const std::string tarnel = TARNEL_PROGRAM;

/// A world in which two agents wait.
class Tarnel : public ::testing::Test {
protected:
    void SetUp() override
    {
        permission = world.startAgent("claude-permission");
        error = world.startAgent("codex-error");
        ASSERT_TRUE(awaitItem(watch, permission, AttentionKind::permission));
        ASSERT_TRUE(awaitItem(watch, error, AttentionKind::error));
    }

    DemoWorld world;
    SnapshotWatch watch{world.daemon.socketPath()};
    std::string permission;
    std::string error;
};

/// The lines of a program's output as they come.
class Lines {
public:
    explicit Lines(int output)
        : descriptor(output)
    {
    }

    /// Waits until a line holds `part`.
    bool await(std::string_view part)
    {
        return eventually(
            [&] {
                readAvailable();
                return std::any_of(
                    all.begin(), all.end(), [&](const std::string& line) { return line.find(part) != line.npos; });
            },
            patience);
    }

    std::vector<std::string> all;

private:
    void readAvailable()
    {
        pollfd output{descriptor, POLLIN, 0};
        std::array<char, 4096> chunk{};
        while (::poll(&output, 1, 10) > 0) {
            const ssize_t count = ::read(descriptor, chunk.data(), chunk.size());
            if (count <= 0)
                return;
            unread.append(chunk.data(), static_cast<std::size_t>(count));
            for (auto feed = unread.find('\n'); feed != unread.npos; feed = unread.find('\n')) {
                all.push_back(unread.substr(0, feed));
                unread.erase(0, feed + 1);
            }
        }
    }

    const int descriptor;
    std::string unread;
};

TEST_F(Tarnel, queuePrintsTheTableAndTheJSON)
{
    const DemoWorld::Run table = world.run("COLUMNS=100 " + tarnel + " queue");
    EXPECT_EQ(table.status, 0);
    const auto lines = Text::splitNonEmpty(table.output, '\n');
    ASSERT_EQ(lines.size(), 3U) << table.output;
    EXPECT_THAT(lines[0], AllOf(HasSubstr("KIND"), HasSubstr("ASKED"), HasSubstr("WAITING")));
    EXPECT_THAT(lines[1], AllOf(HasSubstr("● Permission"), HasSubstr("Bash: npm test"), HasSubstr("3 m")));
    EXPECT_THAT(lines[2], AllOf(HasSubstr("● Stopped"), HasSubstr("Shrink the images"), HasSubstr("35 m")));
    EXPECT_THAT(table.output, Not(HasSubstr("\x1b")));

    const DemoWorld::Run json = world.run(tarnel + " queue --json --socket " + world.daemon.socketPath());
    EXPECT_EQ(json.status, 0);
    const auto queue = decode<std::vector<AttentionItem>>(JSON::parse(json.output));
    ASSERT_EQ(queue.size(), 2U);
    EXPECT_EQ(queue[0].card.paneID, permission);
    EXPECT_EQ(queue[1].card.paneID, error);
}

TEST_F(Tarnel, watchIntoAPipePrintsEveryRowOnce)
{
    Process process(world.command(TARNEL_PROGRAM, {"watch"}));
    Lines lines(process.output().get());
    EXPECT_TRUE(lines.await("● Permission"));
    EXPECT_TRUE(lines.await("● Stopped"));
    world.type(permission, {"1"}); // that row goes without a word
    const std::string plan = world.startAgent("claude-plan");
    EXPECT_TRUE(lines.await("● Plan ready"));
    process.terminate();
    EXPECT_EQ(lines.all.size(), 3U) << Text::joined(lines.all, "\n");
}

TEST_F(Tarnel, watchOnATerminalFollowsTheQueueAndLeavesItClean)
{
    const std::string pane = world.startCommand(tarnel + " watch; echo ended with $?; exec sh");
    const auto shows = [&](std::string_view text) {
        return eventually([&] { return world.screen(pane).find(text) != std::string::npos; }, patience);
    };
    EXPECT_TRUE(shows("demo   2 wait for you, 0 are at work")) << world.screen(pane);
    EXPECT_TRUE(shows("● Permission")) << world.screen(pane);
    world.type(permission, {"1"});
    EXPECT_TRUE(shows("1 waits for you, 1 is at work")) << world.screen(pane);
    world.type(pane, {"x", "C-c"});
    EXPECT_TRUE(shows("ended with 0"));
    EXPECT_THAT(world.screen(pane), AllOf(Not(HasSubstr("●")), Not(HasSubstr("x"))));
}

TEST(TarnelProgram, saysWhatIsWrongInOneLine)
{
    struct Case {
        std::string words;
        int status;
        std::string output;
    };
    const TemporaryFolder folder;
    const Case cases[] = {
        {"queue --socket /nowhere/d.sock", 3,
            "tarnel: cannot connect to /nowhere/d.sock: No such file or directory; start the daemon with: tarneld "
            "--socket /nowhere/d.sock\n"},
        {"--socket /nowhere/d.sock watch", 3,
            "tarnel: cannot connect to /nowhere/d.sock: No such file or directory; start the daemon with: tarneld "
            "--socket /nowhere/d.sock\n"},
        {"", 2, "A subcommand is required\nRun with --help for more information.\n"},
        {"queue --table", 2,
            "The following argument was not expected: --table\nRun with --help for more information.\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.words);
        const Process process({.executable = "/bin/sh",
            .arguments = {"-c", tarnel + " " + c.words + " 2>&1"},
            .environment = {{"HOME", folder.path()}},
            .pipesOutput = true});
        std::string output;
        std::array<char, 1024> chunk{};
        for (ssize_t count = 0; (count = ::read(process.output().get(), chunk.data(), chunk.size())) > 0;)
            output.append(chunk.data(), static_cast<std::size_t>(count));
        EXPECT_EQ(process.waitFor(patience), c.status);
        EXPECT_EQ(output, c.output);
    }
}

} // namespace

} // namespace tarnel
