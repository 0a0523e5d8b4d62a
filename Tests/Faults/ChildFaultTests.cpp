#include "Faults/DaemonProcess.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <map>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

/// Programs that the daemon starts, each a shell script. A script writes the ids of what it leaves running to the file
/// "left", so that the test can end it.
class ChildFaultTest : public DaemonProcessTest {
protected:
    ~ChildFaultTest() override
    {
        for (const pid_t each : leftRunning())
            ::kill(each, SIGKILL);
    }

    [[nodiscard]] std::vector<pid_t> leftRunning() const
    {
        const std::string text = Files::read(folder / "left").value_or("");
        std::vector<pid_t> processes;
        for (const std::string_view line : Text::splitNonEmpty(text, '\n'))
            processes.push_back(std::stoi(std::string(line)));
        return processes;
    }
    static std::string leaveRunning(const std::string& command) { return command + " & echo $! >>left\n"; }

    /// The descriptors that the process of a script has, written to the file "open".
    static constexpr auto listDescriptors = "for each in /proc/$$/fd/*; do readlink $each; done >>open\n";

    /// Serves with one bound command for each script.
    void serveWith(const std::map<std::string, std::string>& scripts)
    {
        std::string config;
        for (const auto& [name, script] : scripts) {
            folder.write(name + ".sh", "cd " + folder.path() + "\n" + script);
            config += "[[keys.command]]\nkey = \"prefix+f" + std::to_string(++bound) + "\"\ncommand = \""
                + command(name) + "\"\n";
        }
        environment["MUXLE_CONFIG_PATH"] = folder.write("muxle.toml", config);
        serve();
    }
    [[nodiscard]] std::string command(const std::string& name) const { return "sh " + (folder / (name + ".sh")); }
    [[nodiscard]] std::string run(const std::string& name) const
    {
        return ask(R"({"id":1,"method":"run_command","params":{"command":")" + command(name) + "\"}}");
    }
    void setTool(const std::string& script)
    {
        const std::string tool = folder.write("muxle", "#!/bin/sh\ncd " + folder.path() + "\n" + script);
        ASSERT_EQ(::chmod(tool.c_str(), 0755), 0);
        environment["MUXLE_BIN_PATH"] = tool;
    }
    /// A client that observes a pane, and has been told so.
    [[nodiscard]] std::shared_ptr<LineSocket> observe() const
    {
        auto client = connect();
        EXPECT_EQ(ask(*client, R"({"id":1,"method":"observe","params":{"pane":"p1","cols":80,"rows":24}})"),
            R"({"id":1,"result":{"observing":"p1"}})");
        return client;
    }
    void expectCleanUp(const ProcessUsage& before, std::chrono::seconds limit = 30s)
    {
        ProcessUsage after;
        const auto isClean = [&] {
            after = usage();
            return after.descriptors <= before.descriptors
                && after.threads <= before.threads + 2; // two may accept in place of the main one
        };
        EXPECT_TRUE(eventually(isClean, limit))
            << "threads " << before.threads << " to " << after.threads << ", descriptors " << before.descriptors
            << " to " << after.descriptors;
        EXPECT_EQ(ProcessUsage::childrenOf(id), 0u);
        if (figuresCount) {
            EXPECT_LE(after.memory, before.memory + 8);
        }
    }
    /// Looks for descriptors of the daemon's own that any program which it starts now would have, were they not closed
    /// once more on its way.
    void expectNoneToInherit() const
    {
#if defined(__linux__)
        const std::string process = "/proc/" + std::to_string(id);
        int seen = 0;
        for (const std::string& name : Files::list(process + "/fdinfo")) {
            std::error_code ignored;
            const std::string target = std::filesystem::read_symlink(process + "/fd/" + name, ignored);
            const std::string info = Files::read(process + "/fdinfo/" + name).value_or("");
            const std::size_t flags = info.find("flags:\t");
            if (flags == info.npos || std::stoi(name) <= STDERR_FILENO)
                continue; // not there any more, or to be had by all
            ++seen;
            EXPECT_NE(std::stol(info.substr(flags + 7), nullptr, 8) & O_CLOEXEC, 0) << name << " is " << target;
        }
        EXPECT_GT(seen, 3);
#endif
    }
    void expectNothingInherited() const
    {
        const std::string open = Files::read(folder / "open").value_or("");
        ASSERT_NE(open, "");
        EXPECT_EQ(open.find("socket:"), open.npos) << open;
        EXPECT_EQ(open.find("d.sock"), open.npos) << open;
        EXPECT_EQ(open.find(".config"), open.npos) << open;
    }

    int bound = 0;
};

TEST_F(ChildFaultTest, commandsOfAnyKindHarmNobody)
{
    const std::string listed = listDescriptors;
    serveWith({{"forks", leaveRunning("sleep 1000") + listed + "exit 3"},
        {"closes", "exec >&- 2>&- <&-\n" + listed + "exit 4"},
        {"prints", "head -c 1000000000 /dev/zero | tr '\\0' 'x'\nexit 5"}, {"dies", "kill -KILL $$"},
        {"endless", "echo $$ >>left\n" + listed + "exec sleep 1000"},
        {"deaf", "trap '' TERM HUP INT\necho $$ >>left\nwhile :; do sleep 1; done"}});
    ask(R"({"id":1,"method":"queue"})");
    const auto subscriber = subscribe(); // so that there is a socket to inherit
    const ProcessUsage before = usage();
    ProcessUsage::resetPeak(id);
    struct Case {
        const char* name;
        std::string reply;
        std::chrono::nanoseconds taken{};
    };
    const auto finished = [](int status) {
        return R"({"id":1,"result":{"finished":true,"started":true,"status":)" + std::to_string(status) + "}}";
    };
    const std::string stillRuns = R"({"id":1,"result":{"finished":false,"started":true}})";
    Case cases[] = {{"forks", finished(3)}, {"closes", finished(4)}, {"prints", finished(5)}, {"dies", finished(137)},
        {"endless", stillRuns}, {"deaf", stillRuns}};
    std::vector<std::thread> threads;
    for (Case& c : cases)
        threads.emplace_back([&] {
            const auto start = std::chrono::steady_clock::now();
            EXPECT_EQ(run(c.name), c.reply) << c.name;
            c.taken = std::chrono::steady_clock::now() - start;
        });
    // Meanwhile others are served.
    std::chrono::nanoseconds longest{};
    for (int i = 0; i < 20; ++i) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_THAT(ask(R"({"id":1,"method":"queue"})"), HasSubstr("result"));
        longest = std::max(longest, std::chrono::steady_clock::now() - start);
        expectNoneToInherit();
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const Case& c : cases)
        EXPECT_LE(c.taken, 10s + 3s * TARNEL_SLOWDOWN) << c.name;
    expectNothingInherited();
    const double peak = usage().peakMemory;
    for (const pid_t each : leftRunning())
        EXPECT_EQ(::kill(each, SIGKILL), 0) << "what runs on belongs to the user";
    expectCleanUp(before);
    printFigure("6 kinds of shell commands: memory " + oneDecimal(before.memory) + " MiB, at most " + oneDecimal(peak)
        + "; others were answered within " + oneDecimal(inMilliseconds(longest)) + " ms; all reaped");
    if (figuresCount) {
        EXPECT_LE(peak, before.memory + 8);
        EXPECT_LE(longest, 1s);
    }
}

TEST_F(ChildFaultTest, observersOfAnyKindHarmNobody)
{
    // Each observation takes the next script.
    const std::string listed = listDescriptors;
    const std::string frame = R"(echo '{"bytes":"QQ=="}')"
                              "\n";
    struct Case {
        const char* what;
        std::string script;
        bool hasEnded = false; ///< Before its client goes.
    };
    const Case cases[] = {
        {"forks, and what it leaves holds its output", leaveRunning("sleep 1000") + listed + frame, true},
        {"leaves a session of its own behind", leaveRunning("setsid sleep 1000") + frame, true},
        {"never ends", frame + "exec sleep 1000"},
        {"does not listen to signals", "trap '' TERM HUP INT\n" + frame + "while :; do sleep 1; done"},
        {"closes its output and runs on", frame + "exec >&- 2>&-\nsleep 1000"},
        {"ends at once", frame, true},
    };
    folder.write("next", "0");
    setTool("exec sh ./tool$(cat next).sh");
    serve();
    const auto subscriber = subscribe();
    ask(R"({"id":1,"method":"queue"})");
    const ProcessUsage before = usage();
    std::chrono::nanoseconds slowest{};
    int number = 0;
    for (const auto& [what, script, hasEnded] : cases) {
        SCOPED_TRACE(what);
        folder.write("tool" + std::to_string(number) + ".sh", script);
        folder.write("next", std::to_string(number++));
        const auto client = observe();
        EXPECT_EQ(client->readLine(), R"({"bytes":"QQ==","event":"frame"})");
        expectNoneToInherit();
        EXPECT_TRUE(!hasEnded || eventually([&] { return ProcessUsage::childrenOf(id) == 0; }));
        client->close();
        const auto start = std::chrono::steady_clock::now();
        EXPECT_TRUE(eventually([&] { return usage().descriptors <= before.descriptors; }, patience))
            << "the observation goes on without its client";
        slowest = std::max(slowest, std::chrono::steady_clock::now() - start);
    }
    expectNothingInherited();
    expectCleanUp(before);
    printFigure(std::to_string(std::size(cases)) + " kinds of observers: ended within " + oneDecimal(inSeconds(slowest))
        + " s of their client, all reaped");
}

TEST_F(ChildFaultTest, anObserverThatPrintsAGigabyteIsBounded)
{
    setTool("yes '{\"bytes\":\"'$(head -c 90000 /dev/zero | tr '\\0' 'Q')'\"}' | head -c 1000000000");
    serve();
    const ProcessUsage before = usage();
    ProcessUsage::resetPeak(id);
    const auto idle = observe(); // never reads
    const auto reading = observe();
    std::size_t bytes = 0;
    const auto start = std::chrono::steady_clock::now();
    constexpr std::size_t enough = 1'000'000'000 / (TARNEL_SLOWDOWN * TARNEL_SLOWDOWN);
    std::chrono::nanoseconds longest{};
    for (std::string line; bytes < enough - 100'000; bytes += line.size()) {
        line = reading->readLine().value_or("");
        ASSERT_NE(line, "");
        if (bytes / 100'000'000 != (bytes + line.size()) / 100'000'000) {
            const auto asked = std::chrono::steady_clock::now();
            EXPECT_THAT(ask(R"({"id":1,"method":"queue"})"), HasSubstr("result"));
            longest = std::max(longest, std::chrono::steady_clock::now() - asked);
        }
    }
    const double seconds = inSeconds(std::chrono::steady_clock::now() - start);
    const double peak = usage().peakMemory;
    idle->close();
    reading->close();
    expectCleanUp(before);
    printFigure("an observer that prints 1 GB: relayed in " + oneDecimal(seconds) + " s, memory "
        + oneDecimal(before.memory) + " MiB, at most " + oneDecimal(peak) + "; others were answered within "
        + oneDecimal(inMilliseconds(longest)) + " ms");
    if (figuresCount) {
        EXPECT_LE(peak, before.memory + 16);
        EXPECT_LE(longest, 1s);
    }
}

} // namespace

} // namespace tarnel
