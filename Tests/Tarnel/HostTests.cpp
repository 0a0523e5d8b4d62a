#include "Tarnel/TarnelProgram.h"
#include "tarnel/RemoteError.h"
#include "tarnel/SSHOpener.h"
#include <filesystem>
#include <gmock/gmock.h>
#include <sys/stat.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

/// A second machine "mini" with a pane p1 of its own, and a command that stands in for ssh.
class HostTest : public TarnelProgramTest {
protected:
    void SetUp() override
    {
        TarnelProgramTest::SetUp();
        more["TARNEL_SSH"] = script("ssh",
            std::string(R"(host=$1; shift
case $host in
refused) echo "me@refused: Permission denied (publickey)." >&2; exit 255 ;;
bare) exec sh -c "$*-missing" ;;
mute) exec sleep 100 ;;
esac
echo "Welcome to $host { }"; echo '[1]'; printf '\033]0;title\007{motd} '
shift
exec )") + TARNELD_PROGRAM
                + " \"$@\" --socket " + folder.path() + "/$host.sock\n");
        std::filesystem::create_symlink(socket, folder / "studio.sock");
        serveMini();
    }
    void serveMini()
    {
        mini = std::make_unique<TestDaemon>(miniMuxle.socketPath(), folder / "mini.sock", "mini", folder.path());
    }

    std::string script(const std::string& name, const std::string& text)
    {
        std::string path = folder.write(name, "#!/bin/sh\n" + text);
        ::chmod(path.c_str(), 0700);
        return path;
    }

    ScriptedMuxle miniMuxle{folder / "mini-muxle.sock"};
    std::unique_ptr<TestDaemon> mini;
};

TEST_F(HostTest, oneQueueOverTwoMachines)
{
    askPermission("p1", "make studio");
    miniMuxle.change([](MuxleWorld& world) {
        world.pane("p1").status = "blocked";
        world.pane("p2").name = "only-mini";
        world.pane("p2").id = "p7";
    });
    const std::vector<std::string> both{"--host", "studio", "--host", "mini"};
    const auto runOnBoth = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), both.begin(), both.end());
        return run(arguments);
    };
    Result result = runOnBoth({"queue"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("  studio/p1  "));
    EXPECT_THAT(result.output, HasSubstr("  mini/p1  "));
    EXPECT_EQ(JSON::parse(runOnBoth({"queue", "--json"}).output).array()->size(), 2U);

    EXPECT_THAT(runOnBoth({"show", "p7"}).output, HasSubstr("only-mini  mini/p7")) << "found where it is";
    result = runOnBoth({"screen", "p1"});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.errors, HasSubstr("several machines have a pane p1; name one of studio/p1, mini/p1"));
    EXPECT_THAT(runOnBoth({"screen", "studio/p1"}).output, HasSubstr("make studio"));
    const std::string second = runOnBoth({"next", "--after", "studio/p1", "--json"}).output;
    EXPECT_THAT(second, HasSubstr(R"("machine":"mini")"));
    result = runOnBoth({"screen", "p9"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.errors, HasSubstr("on mini p1 (claude, project), p7 (codex, only-mini)"));
}

TEST_F(HostTest, tellsApartWhyAHostDoesNotAnswer)
{
    struct Case {
        const char* host;
        int status;
        const char* said;
    };
    const Case cases[] = {
        {"refused", 3, "cannot log in to refused (me@refused: Permission denied (publickey).); try: ssh refused true"},
        {"bare", 3, "tarneld is not installed on bare"},
        {"off", 3, "no daemon answers on off (tarneld bridge: cannot reach"},
        {"mute", 4, "the daemon at mute did not answer in time"},
    };
    for (const Case& c : cases) {
        const Result result = run({"queue", "--host", c.host, "--timeout", c.status == 4 ? "200ms" : "15s"});
        EXPECT_EQ(result.status, c.status) << c.host;
        EXPECT_THAT(result.errors, HasSubstr(c.said));
    }
}

TEST_F(HostTest, theOthersAreShownWhenOneFails)
{
    askPermission("p1", "x");
    const Result result = run({"queue", "--host", "refused", "--host", "studio"});
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.output, HasSubstr("studio/p1"));
    EXPECT_THAT(result.errors, HasSubstr("cannot log in to refused"));

    const Result doctor = run({"doctor", "--host", "bare", "--host", "studio"});
    EXPECT_EQ(doctor.status, 1);
    EXPECT_THAT(doctor.output, HasSubstr("✓ studio: Multiplexer: answers"));
    EXPECT_THAT(doctor.output, HasSubstr("✗ bare: Daemon: tarneld is not installed on bare"));
    EXPECT_THAT(doctor.output, HasSubstr("\n  try: ssh bare 'command -v tarneld'\n"));
}

TEST_F(HostTest, aMachineThatDiesAndComesBackIsFollowed)
{
    RunningTarnel watch({"watch", "--host", "studio", "--host", "mini"}, environment());
    watch.awaitOutput("Nothing waits for you");
    mini.reset();
    watch.awaitErrors("The daemon at mini has gone; trying again ...");
    askPermission("p1", "studio goes on");
    muxle.pushEvent("pane.agent_status_changed");
    watch.awaitOutput("studio/p1");
    miniMuxle.change([](MuxleWorld& world) { world.pane("p2").status = "blocked"; });
    serveMini();
    watch.awaitOutput("mini/p2");
    watch.signal(SIGINT);
    EXPECT_EQ(watch.wait(), 0);
}

TEST_F(HostTest, choosesTheDaemonThatIsMeant)
{
    folder.write(".config/tarnel/config.toml", "[machines]\nhub = \"mini\"\n");
    const auto machine = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"call", "ping"});
        const Result result = run(arguments);
        return result.status == 0 ? *stringOf(JSON::parse(result.output)["machine"]) : result.errors;
    };
    EXPECT_EQ(machine({}), "studio") << "the environment names a socket";
    more["TARNELD_SOCKET"] = "";
    EXPECT_EQ(machine({}), "mini") << "the configuration names a hub";
    EXPECT_EQ(machine({"--socket", socket}), "studio");
    EXPECT_EQ(machine({"--host", "studio"}), "studio");
    EXPECT_THAT(machine({"--host", "local"}), HasSubstr("start the daemon with")) << "none at the usual place";
}

TEST(SSHOpener, runsTheCommandThatTheUserHas)
{
    const SSHOpener usual("studio", std::nullopt, {});
    EXPECT_EQ(usual.commandLine().front(), "ssh");
    EXPECT_THAT(usual.commandLine(), testing::IsSupersetOf({"BatchMode=yes", "studio", "tarneld", "bridge"}));
    const SSHOpener other("studio", "/tmp/a b", {{"TARNEL_SSH", " ssh -F other "}});
    EXPECT_EQ(other.commandLine(),
        (std::vector<std::string>{"ssh", "-F", "other", "studio", "tarneld", "bridge", "--socket", "'/tmp/a b'"}));
    SSHOpener none("studio", std::nullopt, {{"TARNEL_SSH", "no-such-ssh"}});
    try {
        none.open(1s);
        ADD_FAILURE() << "opened";
    } catch (const RemoteError& error) {
        EXPECT_EQ(error.reason, RemoteError::Reason::noClient);
    }
}

TEST(SSHChannel, keepsLinesWholeAndItsDeadline)
{
    TemporaryFolder folder;
    const std::string path = folder.write("ssh", R"(#!/bin/sh
printf 'noise without an end {"a":'; printf '1}\nplain text\n{"b"'; read line; printf ':2}\n{"torn"'
exec sleep 100
)");
    ::chmod(path.c_str(), 0700);
    SSHOpener opener("h", std::nullopt, {{"TARNEL_SSH", path}, {"PATH", "/usr/bin:/bin"}});
    const auto channel = opener.open(10s);
    EXPECT_EQ(channel->readLine(), R"({"a":1})");
    EXPECT_EQ(channel->readLine(), "plain text") << "once the daemon speaks, nothing is passed over";
    channel->writeLine("go on");
    EXPECT_EQ(channel->readLine(), R"({"b":2})");
    channel->setDeadline(std::chrono::steady_clock::now() + 50ms);
    EXPECT_THROW(channel->readLine(), SocketError);
    channel->setDeadline(std::chrono::steady_clock::now() + 10s);
    std::thread closer([&] { channel->close(); });
    EXPECT_FALSE(channel->readLine()) << "close wakes the reader";
    closer.join();
}

} // namespace

} // namespace tarnel
