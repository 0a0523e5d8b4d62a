#include "Support/Descriptors.h"
#include "TarnelCore/Base/Process.h"
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <system_error>

namespace tarnel {

namespace {

using namespace std::chrono_literals;

constexpr auto patience = 20s; // far more than anything here takes

Process::Options shell(const std::string& script)
{
    return {.executable = "/bin/sh",
        .arguments = {"-c", script},
        .environment = {{"PATH", "/usr/bin:/bin"}, {"WORD", "a b"}},
        .pipesOutput = true};
}

/// Everything that the child and what it left behind write.
std::string readAll(const Process& process) { return tarnel::readAll(process.output().get()); }

bool hasChildren()
{
    siginfo_t info{};
    return ::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

TEST(Process, complainsWhereItIsTold)
{
    std::FILE* errors = std::tmpfile();
    ASSERT_NE(errors, nullptr);
    Process::Options options = shell("echo bad >&2; echo good");
    options.errors = ::fileno(errors);
    const Process process(options);
    EXPECT_EQ(readAll(process), "good\n");
    ASSERT_EQ(process.waitFor(patience), 0);
    std::array<char, 16> text{};
    EXPECT_EQ(::pread(::fileno(errors), text.data(), text.size(), 0), 4);
    EXPECT_STREQ(text.data(), "bad\n");
    std::fclose(errors);
}

TEST(Process, readsTheInputThatItIsGiven)
{
    Process::Options options = shell("cat; echo over");
    options.pipesInput = true;
    const Process process(options);
    ASSERT_EQ(::send(process.input().get(), "word\n", 5, 0), 5);
    ::shutdown(process.input().get(), SHUT_WR);
    EXPECT_EQ(readAll(process), "word\nover\n");
    EXPECT_EQ(process.waitFor(patience), 0);
#if !defined(__APPLE__)
    EXPECT_EQ(::send(process.input().get(), "late", 4, MSG_NOSIGNAL), -1);
#endif
}

TEST(Process, startsInItsOwnWorld)
{
    const FileDescriptor leaked(::open("/dev/null", O_RDONLY)); // without close-on-exec
    struct Case {
        const char* what;
        const char* script;
        std::string output;
        int status;
    };
    const Case cases[] = {
        {"only the environment that is given", "echo \"$WORD,$HOME\"", "a b,\n", 0},
        {"its directory", "pwd", "/\n", 0},
        {"its exit status", "exit 3", "", 3},
        {"a signal as a shell counts it", "kill -9 $$", "", 137},
        {"no input", "cat; echo end", "end\n", 0},
        {"default signals", "kill -PIPE $$; echo survived", "", 128 + SIGPIPE},
        {"no blocked signals", "kill -USR1 $$; echo survived", "", 128 + SIGUSR1},
        {"a group of its own", "kill -0 -$$ && echo own", "own\n", 0},
        {"no other descriptor", "for n in 3 4 5 6 7 8 9; do (: <&$n) 2>/dev/null && echo $n; done; true", "", 0},
    };
    const auto before = ::signal(SIGPIPE, SIG_IGN);
    sigset_t blocked;
    sigset_t mask;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &mask);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Process::Options options = shell(c.script);
        options.workingDirectory = std::string("/");
        const Process process(options);
        EXPECT_EQ(readAll(process), c.output);
        EXPECT_EQ(process.waitFor(patience), c.status);
        EXPECT_FALSE(process.isRunning());
    }
    ::pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    ::signal(SIGPIPE, before);
}

TEST(Process, namesTheExecutableThatCannotBeStarted)
{
    struct Case {
        const char* what;
        Process::Options options;
        std::string text;
    };
    const Case cases[] = {
        {"no such file", {.executable = "/no/tool"}, "/no/tool: No such file or directory"},
        {"not executable", {.executable = "/dev/null"}, "/dev/null: Permission denied"},
        {"no such directory", {.executable = "/bin/sh", .workingDirectory = "/no"},
            "/bin/sh in /no: No such file or directory"},
        {"a text that the system would cut", {.executable = "/bin/sh", .arguments = {std::string("a\0b", 3)}},
            "/bin/sh: Invalid argument"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        try {
            const Process process(c.options);
            ADD_FAILURE() << "started";
        } catch (const std::system_error& error) {
            EXPECT_EQ(error.what(), c.text);
        }
    }
    EXPECT_FALSE(hasChildren());
}

TEST(Process, waitsForAChildAndEndsIt)
{
    Process process(shell("echo ready; exec sleep 1000"));
    std::array<char, 6> ready;
    ASSERT_EQ(::read(process.output().get(), ready.data(), ready.size()), 6);
    EXPECT_EQ(process.waitFor(1ms), std::nullopt);
    EXPECT_TRUE(process.isRunning());
    std::thread other([&] { EXPECT_EQ(process.waitFor(patience), 128 + SIGTERM); });
    process.terminate(patience);
    other.join();
    EXPECT_EQ(process.waitFor(0ms), 128 + SIGTERM);
    process.terminate(); // nothing is left to end
}

TEST(Process, killsWhatDoesNotEndWhenAsked)
{
    Process deaf(shell("trap '' TERM; echo ready; while :; do sleep 1000; done"));
    std::array<char, 6> ready;
    ASSERT_EQ(::read(deaf.output().get(), ready.data(), ready.size()), 6);
    deaf.terminate(1ms);
    EXPECT_EQ(deaf.waitFor(patience), 128 + SIGKILL);
    EXPECT_EQ(readAll(deaf), ""); // ends only when the whole group has gone

    Process parent(shell("(trap '' TERM; echo ready; sleep 1000; sleep 1000) & wait"));
    ASSERT_EQ(::read(parent.output().get(), ready.data(), ready.size()), 6);
    parent.terminate(patience);
    EXPECT_EQ(parent.waitFor(patience), 128 + SIGTERM);
    EXPECT_EQ(readAll(parent), "");
}

TEST(Process, isReapedAfterItsOwnerHasGone)
{
    FileDescriptor output;
    {
        const Process process(shell("sleep 0.05"));
        output = FileDescriptor(::dup(process.output().get()));
        EXPECT_TRUE(process.isRunning());
    }
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (hasChildren() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield();
    EXPECT_FALSE(hasChildren());
}

} // namespace

} // namespace tarnel
