// Tests/Tarnel/TarnelProgram.h: runs the program itself, against daemons in this process.
#pragma once
#include "Support/Eventually.h"
#include "Support/ScriptedMuxle.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Attention/AttentionEngine.h"
#include "TarnelCore/Base/Process.h"
#include "TarnelCore/Daemon/TarnelDaemon.h"
#include <csignal>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace tarnel {

/// A daemon that serves in this process until the end of its life.
class TestDaemon {
public:
    /// Returns once it listens.
    TestDaemon(
        const std::string& muxleSocket, std::string socketPath, const std::string& machine, const std::string& home);
    ~TestDaemon();
    TestDaemon(const TestDaemon&) = delete;
    TestDaemon& operator=(const TestDaemon&) = delete;

private:
    AttentionEngine engine;
    TarnelDaemon daemon;
    std::thread thread;
};

/// The program, running.
class RunningTarnel {
public:
    RunningTarnel(const std::vector<std::string>& arguments, Environment environment, const std::string& input = "");
    ~RunningTarnel();

    /// Reads what is printed until it holds `part`; everything printed so far. Gives up after a while.
    std::string awaitOutput(std::string_view part);
    /// The same for what is complained.
    std::string awaitErrors(std::string_view part);
    void signal(int number) const;
    /// Waits for the end; the exit status.
    int wait();

    [[nodiscard]] const std::string& output() const { return printed; }
    [[nodiscard]] std::string errors() const;

private:
    bool readSome(std::chrono::milliseconds patience);

    TemporaryFolder folder;
    FileDescriptor complaints;
    std::unique_ptr<Process> process;
    std::string printed;
};

/// Daemon "studio" over a scripted multiplexer, and an empty home directory.
class TarnelProgramTest : public testing::Test {
protected:
    struct Result {
        int status = -1;
        std::string output;
        std::string errors;
    };

    void SetUp() override { serve(); }
    void serve() { daemon = std::make_unique<TestDaemon>(muxle.socketPath(), socket, "studio", folder.path()); }
    /// Makes an agent ask for permission to run a command.
    void askPermission(const std::string& pane, const std::string& command, std::int64_t stateChangeSeq = 2);

    [[nodiscard]] Environment environment() const;
    Result run(const std::vector<std::string>& arguments, const std::string& input = "");

    TemporaryFolder folder;
    ScriptedMuxle muxle{folder / "muxle.sock"};
    const std::string socket = folder / "tarneld.sock";
    std::unique_ptr<TestDaemon> daemon;
    Environment more; // beside the usual variables
};

} // namespace tarnel
