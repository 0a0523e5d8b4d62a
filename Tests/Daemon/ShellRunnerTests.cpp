#include "Support/Eventually.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Daemon/DaemonError.h"
#include "TarnelCore/Daemon/ShellRunner.h"
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <system_error>

namespace tarnel {

namespace {

using namespace std::chrono_literals;

/// Commands that run scripts of one folder; the multiplexer is never asked.
class ShellRunnerTest : public ::testing::Test {
protected:
    ShellRunnerTest()
    {
        folder.write("config.toml", R"(
[[keys.command]]
key = "prefix+f1"
command = "sh ./script"

[[keys.command]]
key = "prefix+f2"
type = "popup"
command = "sh ./popup"

[[keys.command]]
key = "no such key"
command = "sh ./unreachable"
)");
    }

    JSON run(const std::string& command, std::chrono::nanoseconds timeout = ShellRunner::patience)
    {
        return ShellRunner::run(
            {.command = command, .cwd = folder.path(), .active = active}, muxle, environment, timeout);
    }

    [[nodiscard]] std::string output() const { return Files::read(folder / "out").value_or("none"); }

    const TemporaryFolder folder;
    const MuxleClient muxle{std::make_shared<MuxleSocket>("/the/socket")};
    Environment environment{
        {"PATH", "/usr/bin:/bin"}, {"HOME", folder.path()}, {"MUXLE_CONFIG_PATH", folder / "config.toml"}};
    Environment active{{"MUXLE_ACTIVE_PANE_ID", "p7"}};
};

TEST_F(ShellRunnerTest, givesTheEnvironmentOfTheMultiplexer)
{
    const std::string tool = folder.write("muxle", "");
    ::chmod(tool.c_str(), 0755);
    folder.write("script", "env | grep -v '^PWD=\\|^_=\\|^OLDPWD=\\|^SHLVL=' | sort > out; exit 3");
    environment.insert({{"MUXLE_BIN_PATH", tool}, {"MUXLE_SOCKET_PATH", "/other"}, {"MUXLE_SESSION", "s"},
        {"MUXLE_PANE_ID", "mine"}, {"MUXLE_ACTIVE_PANE_ID", "mine"}, {"MUXLE_ACTIVE_TAB_ID", "mine"}});
    EXPECT_EQ(run("sh ./script").serialized(), R"({"finished":true,"started":true,"status":3})");
    EXPECT_EQ(output(),
        "HOME=" + folder.path() + "\nMUXLE_ACTIVE_PANE_ID=p7\nMUXLE_BIN_PATH=" + tool + "\nMUXLE_CONFIG_PATH="
            + folder.path() + "/config.toml\nMUXLE_SESSION=s\nMUXLE_SOCKET_PATH=/the/socket\nPATH=/usr/bin:/bin\n");
}

TEST_F(ShellRunnerTest, runsOnlyWhatIsBoundAsAShellCommand)
{
    for (const char* command : {"sh ./popup", "sh ./unreachable", "sh ./script ", "sh", "", "rm -rf ."}) {
        SCOPED_TRACE(command);
        try {
            run(command);
            ADD_FAILURE() << "ran";
        } catch (const DaemonError& error) {
            EXPECT_EQ(error.what(), std::string("not a shell command in this machine's muxle config: ") + command);
        }
    }
    environment["MUXLE_CONFIG_PATH"] = folder / "none.toml";
    EXPECT_THROW(run("sh ./script"), DaemonError);
    folder.write("script", "exit 4");
    environment.erase("MUXLE_CONFIG_PATH"); // now it stands below the home directory
    folder.write(".config/muxle/config.toml", Files::read(folder / "config.toml").value());
    EXPECT_EQ(run("sh ./script").serialized(), R"({"finished":true,"started":true,"status":4})");
}

TEST_F(ShellRunnerTest, leavesALongCommandToItself)
{
    folder.write("script", "while [ ! -e go ]; do sleep 0.01; done; echo went > out");
    EXPECT_EQ(run("sh ./script", 1ms).serialized(), R"({"finished":false,"started":true})");
    EXPECT_EQ(output(), "none");
    folder.write("go", "");
    EXPECT_TRUE(eventually([&] { return output() == "went\n"; }));
}

TEST_F(ShellRunnerTest, failsWhereTheDirectoryIsGone)
{
    const ShellRunner::Request nowhere{.command = "sh ./script", .cwd = "", .active = {}};
    EXPECT_NO_THROW(ShellRunner::run(nowhere, muxle, environment)) << "runs where the daemon does";
    EXPECT_THROW(
        ShellRunner::run({.command = "sh ./script", .cwd = "/no/such/place", .active = {}}, muxle, environment),
        std::system_error);
}

} // namespace

} // namespace tarnel
