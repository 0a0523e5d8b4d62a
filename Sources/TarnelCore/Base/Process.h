// TarnelCore/Base/Process.h: starts an executable, waits for it and ends it.
#pragma once
#include "TarnelCore/Base/Environment.h"
#include "TarnelCore/Base/FileDescriptor.h"
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tarnel {

/// A child process in a process group of its own. It starts with default signal dispositions, no blocked signals, an
/// empty standard input unless it is given one, this process's standard error unless it is given another, and no other
/// descriptor of this process.
/// Thread-safety: every operation may be called from any thread.
/// Lifetime: the child outlives its Process unless it is terminated; either way it is reaped as soon as it ends.
class Process {
public:
    struct Options {
        std::string executable; ///< A path; no search path is looked through.
        std::vector<std::string> arguments = {}; ///< Without the name of the executable.
        Environment environment = {}; ///< All of it; nothing is inherited.
        std::optional<std::string> workingDirectory = {}; ///< This process's own when absent.
        bool pipesInput = false; ///< Standard input comes from `input` instead of being empty.
        bool pipesOutput = false; ///< Standard output goes to `output` instead of this process's own.
        std::optional<int> errors = {}; ///< Standard error goes to this descriptor, which stays the caller's.
    };

    /// Throws std::system_error, whose text names the executable, when it cannot be started.
    explicit Process(const Options& options);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    /// The reading end of the child's standard output; not open unless it was asked for. It ends when the child and all
    /// that inherited its output have ended.
    [[nodiscard]] const FileDescriptor& output() const { return outputEnd; }

    /// The writing end of the child's standard input; not open unless it was asked for. It is a socket, so that `send`
    /// can write to a child that may have gone without raising a signal, and `shutdown` ends the input.
    [[nodiscard]] const FileDescriptor& input() const { return inputEnd; }

    [[nodiscard]] bool isRunning() const;

    /// Asks the child's process group to end and, once `grace` has passed, kills it. What the child leaves running in
    /// its group is killed when the child ends. Blocks for at most `grace`; nothing happens to a child that has ended.
    void terminate(std::chrono::milliseconds grace = std::chrono::seconds(2));

    /// Blocks until the child has ended, for at most `timeout`; nothing when it still runs then. The exit status is the
    /// child's own, or 128 and the signal's number when a signal ended it.
    [[nodiscard]] std::optional<int> waitFor(std::chrono::nanoseconds timeout) const;

private:
    struct Child;
    class Abandoned;

    std::shared_ptr<Child> child; // constant once started; shared with the thread that waits for it
    FileDescriptor inputEnd;
    FileDescriptor outputEnd;
    std::thread waiter;
};

} // namespace tarnel
