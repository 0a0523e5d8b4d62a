// Tests/Faults/DaemonProcess.h: the daemon as a process of its own, over a scripted multiplexer.
#pragma once
#include "Faults/ProcessUsage.h"
#include "Support/BareConnection.h"
#include "Support/Eventually.h"
#include "Support/ScriptedMuxle.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Base/Process.h"
#include "TarnelCore/Daemon/DaemonClient.h"
#include <chrono>
#include <gmock/gmock.h>
#include <memory>
#include <string>
#include <sys/types.h>

namespace tarnel {

/// Longer where a sanitizer slows the programs down.
constexpr std::chrono::seconds patience = std::chrono::seconds(20) * TARNEL_SLOWDOWN;

/// Sanitizers keep memory that was freed and take processor time of their own.
constexpr bool figuresCount = TARNEL_SLOWDOWN == 1;

/// A home folder, a multiplexer and a daemon. Ends the daemon at the end of its life.
struct DaemonProcess {
    DaemonProcess();
    ~DaemonProcess();
    DaemonProcess(const DaemonProcess&) = delete;
    DaemonProcess& operator=(const DaemonProcess&) = delete;

    /// Starts a program, behind shell commands that end with ";" or are empty; returns its process id.
    pid_t start(std::unique_ptr<Process>& process, const std::string& name, const std::string& command,
        const std::string& before = "", bool pipes = false);
    /// Starts the daemon, and leaves its id in `id`.
    void launch(const std::string& before = "");
    /// The same, and waits until it serves and follows the multiplexer's events.
    void serve(const std::string& before = "");
    [[nodiscard]] bool isServing() const;
    /// Kills the daemon, as the system would.
    void kill();

    [[nodiscard]] std::string socketPath() const { return folder / "d.sock"; }
    /// What the daemons of this world have written to standard error.
    [[nodiscard]] std::string log() const;
    [[nodiscard]] ProcessUsage usage() const { return ProcessUsage::of(id).value_or(ProcessUsage()); }

    [[nodiscard]] std::shared_ptr<LineSocket> connect() const;
    static std::string ask(LineSocket& socket, const std::string& line);
    std::string ask(const std::string& line) const { return ask(*connect(), line); }
    /// A subscriber that has read its first snapshot.
    [[nodiscard]] std::shared_ptr<LineSocket> subscribe() const;

    const TemporaryFolder folder;
    ScriptedMuxle muxle{folder / "muxle.sock"};
    Environment environment = processEnvironment();
    std::unique_ptr<Process> daemon;
    pid_t id = 0;
};

class DaemonProcessTest : public testing::Test, protected DaemonProcess { };

/// Lets a span of time pass in which something is measured.
void letPass(std::chrono::milliseconds span);

double inMilliseconds(std::chrono::nanoseconds duration);
double inSeconds(std::chrono::nanoseconds duration);

/// "12.3"
std::string oneDecimal(double value);

} // namespace tarnel
