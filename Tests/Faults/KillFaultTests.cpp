#include "Faults/DaemonProcess.h"
#include "TarnelCore/Base/Base64.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Text.h"
#include <atomic>
#include <csignal>
#include <filesystem>
#include <functional>
#include <sys/stat.h>
#include <thread>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

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

class KillFaultTest : public DaemonProcessTest {
protected:
    KillFaultTest()
    {
        const std::string tool = folder.write("muxle",
            "#!/bin/sh\necho $$ >>" + (folder / "tools")
                + "\nwhile echo '{\"bytes\":\"QQ==\"}'; do sleep 0.05; done\n");
        EXPECT_EQ(::chmod(tool.c_str(), 0755), 0);
        environment["MUXLE_BIN_PATH"] = tool;
        environment["MUXLE_CONFIG_PATH"] =
            folder.write("muxle.toml", "[[keys.command]]\nkey = \"prefix+f1\"\ncommand = \"exec sleep 1\"\n");
    }

    /// Kills a daemon at so many moments, each another one, and looks at what it leaves.
    void killAtManyMoments(int rounds)
    {
        std::size_t stored = 0;
        std::chrono::nanoseconds slowest{};
        for (int round = 0; round < rounds; ++round) {
            SCOPED_TRACE(round);
            const auto start = std::chrono::steady_clock::now();
            launch();
            const bool isAtStart = round % 3 == 0;
            std::optional<Load> load;
            if (!isAtStart) {
                ASSERT_TRUE(isServing());
                slowest = std::max(slowest, std::chrono::steady_clock::now() - start);
                load.emplace(socketPath());
            }
            const auto moment = std::chrono::steady_clock::now()
                + (round % 36) * (isAtStart ? 300us : 5ms) * TARNEL_SLOWDOWN + std::chrono::microseconds(round);
            eventually([&] { return std::chrono::steady_clock::now() >= moment; });
            kill();
            load.reset();
            stored += checkLeftovers();
        }
        EXPECT_GT(stored, 0u);
        serve();
        EXPECT_THAT(ask(R"({"id":1,"method":"queue"})"), HasSubstr("result"));
        printFigure("killed at " + std::to_string(rounds) + " moments: " + std::to_string(stored)
            + " attachments, all whole; the next daemon served within " + oneDecimal(inMilliseconds(slowest)) + " ms");
        // The multiplexer's tools end once nobody reads what they write.
        const std::string tools = Files::read(folder / "tools").value_or("");
        EXPECT_FALSE(tools.empty());
        for (const std::string_view line : Text::splitNonEmpty(tools, '\n')) {
            const pid_t toolID = std::stoi(std::string(line));
            EXPECT_TRUE(eventually([&] { return ::kill(toolID, 0) != 0; }, patience)) << toolID;
        }
    }

private:
    /// How many attachments there are; each must be whole, and nothing else left over.
    std::size_t checkLeftovers() const
    {
        for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
            const std::string name = entry.path().filename();
            EXPECT_TRUE(
                name.find("sock") == name.npos || name == "d.sock" || name == "d.sock.lock" || name == "muxle.sock")
                << name;
        }
        std::size_t stored = 0;
        std::error_code ignored;
        const std::string attachments = folder / ".config/tarnel/attachments";
        for (const auto& entry : std::filesystem::directory_iterator(attachments, ignored)) {
            if (entry.path().extension() == ".part")
                continue;
            EXPECT_EQ(entry.file_size(), Load::pictureBytes) << entry.path();
            ++stored;
        }
        std::filesystem::remove_all(attachments);
        EXPECT_THAT(strayDescriptors(), testing::IsEmpty());
        return stored;
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
                if (target.starts_with(socketPath()) || target.starts_with(folder / ".config")
                    || (isChild && target.starts_with("socket:")))
                    found.push_back(target + " by " + words);
            }
        }
        return found;
    }
};

TEST_F(KillFaultTest, theNextStartWorks) { killAtManyMoments(36); }

TEST_F(KillFaultTest, SoakTheNextStartWorks) { killAtManyMoments(180); }

} // namespace

} // namespace tarnel
