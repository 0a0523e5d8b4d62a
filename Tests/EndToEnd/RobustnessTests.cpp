#include "Support/Eventually.h"
#include "Support/ScriptedMuxle.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Base/Base64.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Process.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Daemon/DaemonClient.h"
#include <atomic>
#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <thread>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr std::chrono::seconds patience = 20s * TARNEL_SLOWDOWN;

/// The daemon as a process of its own over a scripted multiplexer.
class DaemonProcessTest : public testing::Test {
protected:
    DaemonProcessTest()
    {
        environment["HOME"] = folder.path();
        environment["MUXLE_SOCKET_PATH"] = muxle.socketPath();
        environment["TARNELD_SOCKET"] = folder / "d.sock";
        environment["TARNEL_MACHINE"] = "studio";
    }
    ~DaemonProcessTest() override
    {
        if (daemon)
            daemon->terminate(0ms);
    }

    /// Starts a program that first writes its process id to a file of its own; returns that id.
    pid_t start(
        std::unique_ptr<Process>& process, const std::string& name, const std::string& command, bool pipes = false)
    {
        const std::string file = folder.write(name + ".pid", "");
        process = std::make_unique<Process>(Process::Options{.executable = "/bin/sh",
            .arguments = {"-c", "echo $$ >" + file + "; exec " + command},
            .environment = environment,
            .pipesInput = pipes,
            .pipesOutput = pipes});
        pid_t id = 0;
        EXPECT_TRUE(eventually([&] {
            const std::string text = Files::read(file).value_or("");
            id = text.ends_with('\n') ? std::stoi(text) : 0;
            return id > 0;
        }));
        return id;
    }
    pid_t startDaemon() { return start(daemon, "tarneld", TARNELD_PROGRAM " 2>>" + (folder / "log")); }
    [[nodiscard]] bool isServing() const
    {
        return eventually(
            [&] {
                try {
                    DaemonClient(folder / "d.sock").call("ping", {}, 5s);
                    return true;
                } catch (const std::exception&) {
                    return false;
                }
            },
            patience);
    }
    void kill(pid_t id)
    {
        ASSERT_EQ(::kill(id, SIGKILL), 0);
        ASSERT_EQ(daemon->waitFor(patience), 128 + SIGKILL);
    }

    /// Descriptors of the daemon's that processes have open: its files, and of the programs that it started any socket.
    [[nodiscard]] std::vector<std::string> strayDescriptors() const
    {
        std::vector<std::string> found;
        std::error_code ignored;
        for (const auto& process : std::filesystem::directory_iterator("/proc", ignored)) {
            const std::string words = Files::read(process.path() / "cmdline").value_or("");
            const bool isChild = words.find(folder / "muxle") != words.npos || words.starts_with("sleep");
            for (const auto& descriptor : std::filesystem::directory_iterator(process.path() / "fd", ignored)) {
                const std::string target = std::filesystem::read_symlink(descriptor.path(), ignored).string();
                if (target.starts_with(folder / "d.sock") || target.starts_with(folder / ".config")
                    || (isChild && target.starts_with("socket:")))
                    found.push_back(target + " by " + words);
            }
        }
        return found;
    }

    const TemporaryFolder folder;
    ScriptedMuxle muxle{folder / "muxle.sock"};
    Environment environment = processEnvironment();
    std::unique_ptr<Process> daemon;
};

/// Keeps a daemon busy from many sides until it goes.
class Load {
public:
    explicit Load(const std::string& socketPath)
    {
        const std::string picture = encodeBase64(std::string(pictureBytes, 'p'));
        const auto call = [socketPath](const char* method, const JSON::Object& params) {
            DaemonClient(socketPath).call(method, params, 5s);
        };
        repeat([=] { call("attach", {{"data", picture}}); });
        repeat([=] { call("attach", {{"data", picture}, {"name", "named.png"}}); });
        repeat([=] { call("run_command", {{"command", "sleep 1000"}}); });
        repeat([=] { call("queue", {}); });
        repeat([=] { DaemonClient(socketPath).subscribe({}); });
        repeat([=] {
            const auto stream = DaemonClient(socketPath).observe("p1");
            while (stream->next()) { }
        });
    }
    ~Load()
    {
        hasEnded = true;
        for (std::thread& thread : threads)
            thread.join();
    }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;

    static constexpr std::size_t pictureBytes = 500'000;

private:
    void repeat(const std::function<void()>& work)
    {
        threads.emplace_back([this, work] {
            while (!hasEnded) {
                try {
                    work();
                } catch (const std::exception&) {
                    std::this_thread::yield(); // the daemon has gone
                }
            }
        });
    }

    std::atomic<bool> hasEnded = false;
    std::vector<std::thread> threads;
};

TEST_F(DaemonProcessTest, canBeKilledAtAnyMoment)
{
    const std::string tool = folder.write("muxle",
        "#!/bin/sh\necho $$ >>" + (folder / "tools") + "\nwhile echo '{\"bytes\":\"QQ==\"}'; do sleep 0.05; done\n");
    ASSERT_EQ(::chmod(tool.c_str(), 0755), 0);
    environment["MUXLE_BIN_PATH"] = tool;
    environment["MUXLE_CONFIG_PATH"] =
        folder.write("muxle.toml", "[[keys.command]]\nkey = \"prefix+f1\"\ncommand = \"exec sleep 1\"\n");
    const std::string attachments = folder / ".config/tarnel/attachments";
    std::size_t stored = 0;
    for (int round = 0; round < 36; ++round) {
        SCOPED_TRACE(round);
        const pid_t id = startDaemon();
        const bool isAtStart = round % 3 == 0;
        std::optional<Load> load;
        if (!isAtStart) {
            ASSERT_TRUE(isServing());
            load.emplace(folder / "d.sock");
        }
        // A moment that differs from round to round.
        const auto moment = std::chrono::steady_clock::now() + round * (isAtStart ? 300us : 5ms) * TARNEL_SLOWDOWN;
        eventually([&] { return std::chrono::steady_clock::now() >= moment; });
        kill(id);
        load.reset();
        for (const auto& entry : std::filesystem::directory_iterator(folder / ".")) {
            const std::string name = entry.path().filename();
            EXPECT_TRUE(
                name.find("sock") == name.npos || name == "d.sock" || name == "d.sock.lock" || name == "muxle.sock")
                << name;
        }
        std::error_code ignored;
        for (const auto& entry : std::filesystem::directory_iterator(attachments, ignored)) {
            if (entry.path().extension() == ".part")
                continue;
            EXPECT_EQ(entry.file_size(), Load::pictureBytes) << entry.path();
            ++stored;
        }
        std::filesystem::remove_all(attachments);
        EXPECT_THAT(strayDescriptors(), testing::IsEmpty());
    }
    EXPECT_GT(stored, 0u);
    startDaemon();
    EXPECT_TRUE(isServing());
    // The multiplexer's tools end once nobody reads what they write.
    const std::string tools = Files::read(folder / "tools").value_or("");
    EXPECT_FALSE(tools.empty());
    for (const std::string_view line : Text::splitNonEmpty(tools, '\n')) {
        const pid_t toolID = std::stoi(std::string(line));
        EXPECT_TRUE(eventually([&] { return ::kill(toolID, 0) != 0; }, patience)) << toolID;
    }
}

/// The memory of a process in KiB; nothing where the system does not tell in this way.
std::optional<long> residentMemory(pid_t id)
{
    const std::string status = Files::read("/proc/" + std::to_string(id) + "/status").value_or("");
    const std::size_t at = status.find("VmRSS:");
    return at == status.npos ? std::nullopt : std::optional(std::stol(status.substr(at + 6)));
}

TEST_F(DaemonProcessTest, aStoppedSubscriberHoldsUpNobody)
{
    muxle.change([](MuxleWorld& world) {
        world.pane("p1").status = "blocked";
        world.pane("p1").screen = std::string(300'000, 'x');
    });
    const pid_t id = startDaemon();
    ASSERT_TRUE(isServing());
    const auto healthy = LineSocket::connect(folder / "d.sock");
    healthy->setReadTimeout(patience);
    healthy->writeLine(R"({"id":1,"method":"subscribe"})");
    DaemonClient client(folder / "d.sock");
    const auto timePerChange = [&](const std::string& word, int count) {
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < count; ++i) {
            const std::string name = word + " " + std::to_string(i);
            muxle.change([&](MuxleWorld& world) { world.pane("p1").name = name; });
            client.call("next", {}, patience);
            std::string line;
            while (line.find("\"" + name + "\"") == line.npos)
                line = healthy->readLine().value();
        }
        return (std::chrono::steady_clock::now() - start) / count;
    };
    const auto alone = timePerChange("alone", 50);

    std::unique_ptr<Process> bridge;
    const pid_t subscriber = start(bridge, "bridge", TARNELD_PROGRAM " bridge --socket " + (folder / "d.sock"), true);
    LineSocket input(FileDescriptor(::dup(bridge->input().get())));
    input.writeLine(R"({"id":1,"method":"subscribe"})");
    std::string received;
    const auto readUntil = [&](const std::string& text) {
        std::string chunk(1 << 20, ' ');
        while (received.find(text) == received.npos) {
            const ssize_t count = ::read(bridge->output().get(), chunk.data(), chunk.size());
            if (count <= 0)
                return false;
            received.append(chunk, 0, static_cast<std::size_t>(count));
        }
        return true;
    };
    ASSERT_TRUE(readUntil("\"alone 49\""));
    const auto before = residentMemory(id);
    ASSERT_EQ(::kill(subscriber, SIGSTOP), 0);
    constexpr int changes = 200 / TARNEL_SLOWDOWN; // all of them before the stopped client counts as stalled
    const auto together = timePerChange("both", changes);
    EXPECT_LT(together, 3 * alone + 10ms * TARNEL_SLOWDOWN);
    if (before && TARNEL_SLOWDOWN == 1) { // sanitizers keep memory that was freed
        EXPECT_LT(residentMemory(id).value_or(0) - *before, 16 * 1024) << "of 60 MB that were pushed";
    }
    ASSERT_EQ(::kill(subscriber, SIGCONT), 0);
    received.clear();
    EXPECT_TRUE(readUntil("\"both " + std::to_string(changes - 1) + "\""));
    EXPECT_LT(std::count(received.begin(), received.end(), '\n'), 25);
    bridge->terminate();
}

} // namespace

} // namespace tarnel
